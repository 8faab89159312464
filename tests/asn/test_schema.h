// A small schema that uses every form and shape of the engine, for the engine
// tests and the fuzz targets. It defines the tables and the stamped
// operations, so include it from exactly one translation unit per binary.
#pragma once

#include "asn/engine.h"

namespace qel::tst {

// Pair ::= SEQUENCE { first INTEGER, second [0] EXPLICIT INTEGER }
struct Pair {
  INTEGER first;
  INTEGER second;
};

// Opts ::= SEQUENCE { a [0] EXPLICIT INTEGER OPTIONAL, b BOOLEAN OPTIONAL }
struct Opts {
  INTEGER* a;
  BOOLEAN* b;
};

// Strings ::= SET OF OCTET STRING
QEL_LIST_RECORD(Strings, OCTET_STRING, 32);

// Item ::= CHOICE {
//   number INTEGER, flag BOOLEAN, none NULL,
//   text  [0] IMPLICIT IA5String,  bits [1] IMPLICIT BIT STRING,
//   boxed [2] EXPLICIT OCTET STRING,
//   pair  [3] IMPLICIT Pair,       opts [4] IMPLICIT Opts,
//   kids  [5] IMPLICIT Strings }
QEL_CHOICE_RECORD(Item);

// Items ::= SEQUENCE OF Item
QEL_LIST_RECORD(Items, Item, 32);

// Record ::= SEQUENCE {
//   id      INTEGER,
//   label   [0] EXPLICIT PrintableString OPTIONAL,
//   body    [1] EXPLICIT ANY,
//   flag    BOOLEAN OPTIONAL,
//   pick    Item OPTIONAL,                  -- embedded, present when chosen
//   items   Items,
//   strings [2] IMPLICIT Strings OPTIONAL,
//   extra   [3] EXPLICIT Items OPTIONAL,
//   raw     [4] EXPLICIT ANY OPTIONAL }    -- wrapper kept around an empty value
struct Record {
  INTEGER id;
  PrintableString* label;
  UNDECODED_ASN_BLOCK body;
  BOOLEAN* flag;
  Item pick;
  Items items;
  Strings* strings;
  Items* extra;
  UNDECODED_ASN_BLOCK* raw;
};

QEL_DECLARE_TYPE(Pair)
QEL_DECLARE_TYPE(Opts)
QEL_DECLARE_TYPE(Strings)
QEL_DECLARE_TYPE(Item)
QEL_DECLARE_TYPE(Items)
QEL_DECLARE_TYPE(Record)

QEL_SEQUENCE(Pair,
             QEL_INLINE(Pair, first, 0x02, INTEGER),
             QEL_EXPLICIT(Pair, second, 0xA0, 0x02, INTEGER))
QEL_SEQUENCE(Opts,
             QEL_EXPLICIT_OPTIONAL(Opts, a, 0xA0, 0x02, INTEGER, 0),
             QEL_OPTIONAL(Opts, b, 0x01, BOOLEAN))
QEL_SET_OF(Strings, OCTET_STRING, 0x04)
QEL_CHOICE(Item,
           QEL_ALT(0x02, "number", INTEGER),
           QEL_ALT(0x01, "flag", BOOLEAN),
           QEL_ALT(0x05, "none", ASN_NULL),
           QEL_ALT(0x80, "text", IA5String),
           QEL_ALT(0x81, "bits", BIT_STRING),
           QEL_ALT_WRAPPED(0xA2, 0x04, "boxed", OCTET_STRING),
           QEL_ALT(0xA3, "pair", Pair),
           QEL_ALT(0xA4, "opts", Opts),
           QEL_ALT(0xA5, "kids", Strings))
QEL_SEQUENCE_OF(Items, Item, TAG_CHOICE)
QEL_SEQUENCE(Record,
             QEL_INLINE(Record, id, 0x02, INTEGER),
             QEL_EXPLICIT_OPTIONAL(Record, label, 0xA0, 0x13, PrintableString, 0),
             QEL_EXPLICIT(Record, body, 0xA1, TAG_ANY, UNDECODED_ASN_BLOCK),
             QEL_OPTIONAL(Record, flag, 0x01, BOOLEAN),
             QEL_MAYBE_ABSENT(Record, pick, TAG_CHOICE, Item),
             QEL_INLINE(Record, items, 0x30, Items),
             QEL_OPTIONAL(Record, strings, 0xA2, Strings),
             QEL_EXPLICIT_OPTIONAL(Record, extra, 0xA3, 0x30, Items, 0),
             QEL_EXPLICIT_OPTIONAL(Record, raw, 0xA4, TAG_ANY, UNDECODED_ASN_BLOCK,
                                   FIELD_WRAPPER_FORCED))

QEL_STAMP_TYPE(Pair)
QEL_STAMP_TYPE(Opts)
QEL_STAMP_TYPE(Strings)
QEL_STAMP_TYPE(Item)
QEL_STAMP_TYPE(Items)
QEL_STAMP_TYPE(Record)

// The schema's descriptors, outermost first.
inline const TypeDesc* const schema_types[] = {&Record_desc, &Items_desc, &Item_desc,
                                               &Strings_desc, &Opts_desc, &Pair_desc};

}  // namespace qel::tst
