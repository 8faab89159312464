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

#define QEL_TEST_TYPES(F) F(Pair) F(Opts) F(Strings) F(Item) F(Items) F(Record)
QEL_TEST_TYPES(QEL_DECLARE_TYPE)

QEL_SEQUENCE(Pair,
             QEL_INLINE(first, INTEGER),
             QEL_EXPLICIT(second, INTEGER, 0xA0))
QEL_SEQUENCE(Opts,
             QEL_EXPLICIT_OPTIONAL(a, INTEGER, 0xA0),
             QEL_OPTIONAL(b, BOOLEAN))
QEL_SET_OF(Strings, OCTET_STRING)
QEL_CHOICE(Item,
           QEL_ALT(number, INTEGER),
           QEL_ALT(flag, BOOLEAN),
           QEL_ALT(none, ASN_NULL),
           QEL_ALT(text, IA5String, 0x80),
           QEL_ALT(bits, BIT_STRING, 0x81),
           QEL_ALT_WRAPPED(boxed, OCTET_STRING, 0xA2),
           QEL_ALT(pair, Pair, 0xA3),
           QEL_ALT(opts, Opts, 0xA4),
           QEL_ALT(kids, Strings, 0xA5))
QEL_SEQUENCE_OF(Items, Item)
QEL_SEQUENCE(Record,
             QEL_INLINE(id, INTEGER),
             QEL_EXPLICIT_OPTIONAL(label, PrintableString, 0xA0),
             QEL_EXPLICIT(body, UNDECODED_ASN_BLOCK, 0xA1),
             QEL_OPTIONAL(flag, BOOLEAN),
             QEL_MAYBE_ABSENT(pick, Item),
             QEL_INLINE(items, Items),
             QEL_OPTIONAL(strings, Strings, 0xA2),
             QEL_EXPLICIT_OPTIONAL(extra, Items, 0xA3),
             QEL_EXPLICIT_OPTIONAL(raw, UNDECODED_ASN_BLOCK, 0xA4, FIELD_WRAPPER_FORCED))

QEL_TEST_TYPES(QEL_STAMP_TYPE)

// The schema's descriptors, outermost first.
inline const TypeDesc* const schema_types[] = {&Record_desc, &Items_desc, &Item_desc,
                                               &Strings_desc, &Opts_desc, &Pair_desc};

}  // namespace qel::tst
