// One generic implementation per shape of the seven operations, driven by a
// type's descriptor.
#include "asn/engine.h"

#include <cstdlib>
#include <utility>
#include <cstring>

#include "asn/compiled.h"
#include "asn/internal.h"
#include "asn/alloc.h"

namespace qel::engine {

namespace {

// Untyped access to the members of a record.
inline void* member_at(void* record, uint32_t offset) {
  return static_cast<char*>(record) + offset;
}
inline void*& pointer_at(void* record, uint32_t offset) {
  return *static_cast<void**>(member_at(record, offset));
}

struct ChoiceHead {
  uint8_t tag;
  void* value;
};
inline ChoiceHead& choice_of(void* record) { return *static_cast<ChoiceHead*>(record); }

inline int32_t& count_of(void* record) { return *static_cast<int32_t*>(record); }
inline void** items_of(const TypeDesc* d, void* record) {
  return static_cast<void**>(member_at(record, d->list.items_offset));
}

// Operations of a field's or element's type.
inline void* t_make(const TypeDesc* t) { return t->ops->make(t); }
inline void t_dip(const TypeDesc* t, void* v) { t->ops->dip(t, v); }
inline void t_drop(const TypeDesc* t, void* v) { t->ops->drop(t, v); }
inline int32_t t_size(const TypeDesc* t, void* v, int32_t h) { return t->ops->size(t, v, h); }
inline void t_pack(const TypeDesc* t, uint8_t** c, void* v, int32_t tag, int32_t* err) {
  t->ops->pack(t, c, v, tag, err);
}
inline int32_t t_uip(const TypeDesc* t, void* v, const uint8_t** c, const uint8_t* limit,
                     const uint8_t* outer, int32_t tag, int32_t* err) {
  return t->ops->uip(t, v, c, limit, outer, tag, err);
}

// Tags handed to a field's and to a list element's operations.
inline int32_t field_tag(const FieldDesc& f) { return tag_or_own(f.tag, f.type); }
inline int32_t element_tag(const TypeDesc* d) {
  return tag_or_own(d->list.element_tag, d->list.element);
}

inline bool embedded(const FieldDesc& f) {
  return f.form == Form::Inline || f.form == Form::ExplicitInline;
}
inline bool is_explicit(const FieldDesc& f) {
  return f.form == Form::ExplicitInline || f.form == Form::ExplicitOptional;
}

// The member a field's operations work on: the embedded record, or the
// pointer held (null when absent).
inline void* field_value(const FieldDesc& f, void* record) {
  return embedded(f) ? member_at(record, f.offset) : pointer_at(record, f.offset);
}

// Whether a field takes part in sizing and packing.
inline bool field_present(const FieldDesc& f, void* member) {
  if (member == nullptr) return false;
  if (f.flags & FIELD_MAYBE_ABSENT) return choice_of(member).value != nullptr;
  return true;
}

int32_t field_size(const FieldDesc& f, void* member) {
  if (!field_present(f, member)) return 0;
  const int32_t inner = t_size(f.type, member, 1);
  if (!is_explicit(f)) return inner;
  return tagged(inner, (f.flags & FIELD_WRAPPER_FORCED) ? 1 : 0);
}


// Sizes of constructed records, remembered for the length of one top-level
// encode. Every level of an encoder needs the size of its content, so
// without this a deep tree would be sized once per level above each node.
// Keyed by descriptor and address: an embedded first member shares its
// parent's address but not its descriptor.
class SizeMemo {
 public:
  ~SizeMemo() { std::free(slots_); }

  bool active() const { return active_; }

  void begin() {
    active_ = true;
    used_ = 0;
    if (++generation_ == 0) {  // wrapped: forget every stale slot
      for (size_t i = 0; i < capacity_; ++i) slots_[i].generation = 0;
      generation_ = 1;
    }
  }
  void end() { active_ = false; }

  bool find(const TypeDesc* d, const void* v, int32_t& size) const {
    if (!active_ || capacity_ == 0) return false;
    for (size_t i = hash(d, v) & (capacity_ - 1);; i = (i + 1) & (capacity_ - 1)) {
      const Slot& s = slots_[i];
      if (s.generation != generation_) return false;
      if (s.desc == d && s.value == v) {
        size = s.size;
        return true;
      }
    }
  }

  void put(const TypeDesc* d, const void* v, int32_t size) {
    if (!active_) return;
    if ((used_ + 1) * 2 > capacity_ && !grow()) return;  // no room: just recompute later
    insert(d, v, size);
  }

 private:
  struct Slot {
    const TypeDesc* desc;
    const void* value;
    int32_t size;
    uint32_t generation;
  };

  static size_t hash(const TypeDesc* d, const void* v) {
    const auto x = reinterpret_cast<uintptr_t>(v) ^ (reinterpret_cast<uintptr_t>(d) << 7);
    return static_cast<size_t>((x * 0x9E3779B97F4A7C15ull) >> 20);
  }

  void insert(const TypeDesc* d, const void* v, int32_t size) {
    for (size_t i = hash(d, v) & (capacity_ - 1);; i = (i + 1) & (capacity_ - 1)) {
      Slot& s = slots_[i];
      if (s.generation != generation_) {
        s = Slot{.desc = d, .value = v, .size = size, .generation = generation_};
        ++used_;
        return;
      }
      if (s.desc == d && s.value == v) {
        s.size = size;
        return;
      }
    }
  }

  bool grow() {
    const size_t old_capacity = capacity_;
    Slot* old = slots_;
    const size_t capacity = old_capacity == 0 ? 1024 : old_capacity * 2;
    auto* fresh = static_cast<Slot*>(detail::allocate_zeroed(capacity, sizeof(Slot)));
    if (fresh == nullptr) return false;
    slots_ = fresh;
    capacity_ = capacity;
    const uint32_t generation = generation_;
    used_ = 0;
    for (size_t i = 0; i < old_capacity; ++i)
      if (old[i].generation == generation) insert(old[i].desc, old[i].value, old[i].size);
    std::free(old);
    return true;
  }

  Slot* slots_ = nullptr;
  size_t capacity_ = 0;
  size_t used_ = 0;
  uint32_t generation_ = 0;
  bool active_ = false;
};

thread_local SizeMemo size_memo;

}  // namespace

bool memo_find(const TypeDesc* d, const void* v, int32_t& size) {
  return size_memo.find(d, v, size);
}
void memo_put(const TypeDesc* d, const void* v, int32_t size) { size_memo.put(d, v, size); }

namespace {


// ---------------------------------------------------------------------------
// Sequence

void seq_dip(const TypeDesc* d, void* v) {
  if (v == nullptr) return;
  for (uint32_t i = 0; i < d->seq.count; ++i) {
    const FieldDesc& f = d->seq.fields[i];
    if (embedded(f)) {
      t_dip(f.type, member_at(v, f.offset));
    } else {
      void*& p = pointer_at(v, f.offset);
      t_drop(f.type, p);
      p = nullptr;
    }
  }
}

}  // namespace

int32_t seq_size(const TypeDesc* d, void* v, int32_t with_header) {
  if (v == nullptr) return 0;
  const int32_t content = remembered(d, v, [&] {
    uint32_t sum = 0;
    for (uint32_t i = 0; i < d->seq.count; ++i) {
      const FieldDesc& f = d->seq.fields[i];
      sum += static_cast<uint32_t>(field_size(f, field_value(f, v)));
    }
    return static_cast<int32_t>(sum);
  });
  return (with_header & 0xFFFF) != 0 ? tagged(content, 1) : content;
}

void seq_pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err) {
  if (v == nullptr || !cursor_usable(cursor, err)) return;
  const int32_t content = seq_size(d, v, 0);
  put_tag(cursor, tag, static_cast<uint32_t>(content));
  const uint8_t* start = *cursor;
  for (uint32_t i = 0; i < d->seq.count; ++i) {
    const FieldDesc& f = d->seq.fields[i];
    void* member = field_value(f, v);
    if (!field_present(f, member)) continue;
    if (is_explicit(f)) {
      // The wrapper goes out exactly when sizing counted it.
      const int32_t inner = t_size(f.type, member, 1);
      if (tagged(inner, (f.flags & FIELD_WRAPPER_FORCED) ? 1 : 0) == 0) continue;
      put_tag(cursor, f.wrapper, static_cast<uint32_t>(inner));
    }
    t_pack(f.type, cursor, member, field_tag(f), err);
  }
  check_written(start, *cursor, content, err);
}

namespace {

// Decodes one field of a sequence, folding a required field's result into
// `result`.
void seq_field(const FieldDesc& f, void* v, const uint8_t** cursor, const uint8_t* end,
               int32_t* err, int32_t& result) {
  switch (f.form) {
    case Form::Inline:
      if (f.flags & FIELD_MAYBE_ABSENT) {
        const int32_t saved = *err;
        t_uip(f.type, member_at(v, f.offset), cursor, end, end, field_tag(f), err);
        *err = saved;
      } else {
        result &= t_uip(f.type, member_at(v, f.offset), cursor, end, end, field_tag(f), err);
      }
      return;
    case Form::Optional: {
      void*& p = pointer_at(v, f.offset);
      if (p != nullptr) t_drop(f.type, p);
      p = unpack_at(f.type, cursor, end, field_tag(f), err);
      return;
    }
    case Form::ExplicitInline:
    case Form::ExplicitOptional: {
      // The inner element is read against the sequence's end; the wrapper's
      // own end is only compared with (it may lie beyond the input).
      const Header w = read_header(*cursor, end, f.wrapper, kUnbounded);
      if (w.outcome == Header::kNotHere) return;
      // Length octets cut off by the end: an overrun like any other.
      if (w.outcome == Header::kOverrun) return report_overrun(cursor, end, err);
      *cursor = w.content;
      if (w.length == 0) return;  // an empty wrapper: the field is not missed
      if (f.form == Form::ExplicitInline) {
        result &= t_uip(f.type, member_at(v, f.offset), cursor, end, end, field_tag(f), err);
      } else {
        void*& p = pointer_at(v, f.offset);
        t_drop(f.type, p);
        p = unpack_at(f.type, cursor, end, field_tag(f), err);
      }
      if (static_cast<uint64_t>(*cursor - w.content) != w.length) set_err(err, ASN_WRAPPER_END);
      return;
    }
  }
}

int32_t seq_uip(const TypeDesc* d, void* v, const uint8_t** cursor, const uint8_t* limit,
                const uint8_t*, int32_t tag, int32_t* err) {
  const Header h = open_element(cursor, limit, tag, err);
  if (h.outcome != Header::kGood) return 0;
  const uint8_t* end = h.content + h.length;
  int32_t result = 1;
  for (uint32_t i = 0; i < d->seq.count; ++i) {
    if (i >= d->seq.trailing_from && peek(*cursor, end) == nullptr) return result;
    seq_field(d->seq.fields[i], v, cursor, end, err, result);
  }
  if ((d->flags & TYPE_HAS_REQUIRED) && result == 0) set_err(err, ASN_FIELD_FAILED);
  check_end(*cursor, end, err);
  return result;
}

// ---------------------------------------------------------------------------
// Sequence-of and set-of

int32_t clamped_count(const TypeDesc* d, void* v) {
  const int32_t count = count_of(v);
  if (count <= 0) return 0;
  const uint32_t capacity = d->list.capacity;
  return static_cast<uint32_t>(count) > capacity ? static_cast<int32_t>(capacity) : count;
}

// Releases the element records in slots from `first` on. Slots are filled
// from the front, so the first empty slot ends the scan.
void release_from(const TypeDesc* d, void* v, int32_t first) {
  void** items = items_of(d, v);
  const uint32_t capacity = d->list.capacity;
  for (uint32_t i = static_cast<uint32_t>(first); i < capacity && items[i] != nullptr; ++i) {
    t_drop(d->list.element, items[i]);
    items[i] = nullptr;
  }
}

void list_dip(const TypeDesc* d, void* v) {
  if (v == nullptr) return;
  void** items = items_of(d, v);
  const int32_t n = clamped_count(d, v);
  for (int32_t i = 0; i < n; ++i) {
    t_drop(d->list.element, items[i]);
    items[i] = nullptr;
  }
}

}  // namespace

int32_t list_size(const TypeDesc* d, void* v, int32_t with_header) {
  if (v == nullptr) return 0;
  const int32_t content = remembered(d, v, [&] {
    void** items = items_of(d, v);
    const int32_t n = clamped_count(d, v);
    uint32_t sum = 0;
    for (int32_t i = 0; i < n; ++i)
      sum += static_cast<uint32_t>(t_size(d->list.element, items[i], 1));
    return static_cast<int32_t>(sum);
  });
  return (with_header & 0xFFFF) != 0 ? tagged(content, 1) : content;
}

namespace {

// Writes the elements of a set-of in DER order: each encoded into a zeroed
// block as long as the longest encoding, blocks sorted by memcmp.
void setof_elements(const TypeDesc* d, uint8_t** cursor, void** items, int32_t n, int32_t* err,
                    bool& stopped) {
  struct Entry {
    uint8_t* block;
    int32_t size;
  };
  Entry work[kMaxSetOfCapacity];
  int32_t longest = 0;
  for (int32_t i = 0; i < n; ++i) {
    work[i] = Entry{nullptr, t_size(d->list.element, items[i], 1)};
    if (work[i].size > longest) longest = work[i].size;
  }
  const auto release = [&](int32_t upto) {
    for (int32_t i = 0; i < upto; ++i) std::free(work[i].block);
  };
  const size_t block_size = static_cast<size_t>(longest);
  for (int32_t i = 0; i < n; ++i) {
    work[i].block =
        static_cast<uint8_t*>(detail::allocate_zeroed(1, block_size > 0 ? block_size : 1));
    if (work[i].block == nullptr) {
      set_err(err, ASN_NO_MEMORY);
      release(i);
      stopped = true;
      return;
    }
    uint8_t* at = work[i].block;
    t_pack(d->list.element, &at, items[i], element_tag(d), err);
    if (*err != 0) {
      release(i + 1);
      stopped = true;
      return;
    }
  }
  for (int32_t pass = 0; pass + 1 < n; ++pass) {
    for (int32_t j = 0; j + 1 < n; ++j) {
      const int c = std::memcmp(work[j].block, work[j + 1].block, block_size);
      if (c == 0) {
        set_err(err, ASN_SETOF_DUPLICATE);
        release(n);
        stopped = true;
        return;
      }
      if (c > 0) std::swap(work[j], work[j + 1]);
    }
  }
  for (int32_t i = 0; i < n; ++i) {
    std::memcpy(*cursor, work[i].block, static_cast<size_t>(work[i].size));
    *cursor += work[i].size;
    std::free(work[i].block);
  }
}

}  // namespace

void list_pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err) {
  if (v == nullptr || !cursor_usable(cursor, err)) return;
  const bool set_of = d->shape == Shape::SetOf;
  if (count_of(v) > static_cast<int32_t>(d->list.capacity)) {
    set_err(err, set_of ? ASN_SETOF_FULL : ASN_SEQOF_FULL);
    return;
  }
  const int32_t content = list_size(d, v, 0);
  put_tag(cursor, tag, static_cast<uint32_t>(content));
  const uint8_t* start = *cursor;
  void** items = items_of(d, v);
  const int32_t n = clamped_count(d, v);
  if (set_of && n > 1) {
    bool stopped = false;
    setof_elements(d, cursor, items, n, err, stopped);
    if (stopped) return;
  } else {
    for (int32_t i = 0; i < n; ++i) t_pack(d->list.element, cursor, items[i], element_tag(d), err);
  }
  check_written(start, *cursor, content, err);
}

namespace {

int32_t list_uip(const TypeDesc* d, void* v, const uint8_t** cursor, const uint8_t* limit,
                 const uint8_t*, int32_t tag, int32_t* err) {
  const Header h = open_element(cursor, limit, tag, err);
  if (h.outcome != Header::kGood) {
    if (h.outcome == Header::kOverrun) {
      release_from(d, v, 0);
      count_of(v) = -1;
    }
    return 0;
  }
  const uint8_t* end = h.content + h.length;
  void** items = items_of(d, v);
  int32_t& count = count_of(v);
  count = 0;
  for (uint32_t i = 0; i < d->list.capacity && peek(*cursor, end) != nullptr; ++i) {
    if (items[i] == nullptr) items[i] = t_make(d->list.element);
    if (items[i] == nullptr) {
      set_err(err, ASN_NO_RECORD);
      break;
    }
    // Every element is handed the list's own limit as its outer bound.
    if (!t_uip(d->list.element, items[i], cursor, end, limit, element_tag(d), err)) break;
    count = static_cast<int32_t>(i + 1);
  }
  // A failed element and records left from an earlier decode are released
  // now, so that every record held lies below count.
  release_from(d, v, count);
  check_end(*cursor, end, err);
  return 1;
}

// ---------------------------------------------------------------------------
// Choice

const AltDesc* find_alt(const TypeDesc* d, uint8_t tag) {
  for (uint32_t i = 0; i < d->choice.count; ++i)
    if (const AltDesc& a = d->choice.alts[i]; tag_or_own(a.tag, a.type) == tag) return &a;
  return nullptr;
}

// Releases the alternative held and leaves the record as new, so that a
// record can be released twice or decoded into again without harm.
void choice_dip(const TypeDesc* d, void* v) {
  if (v == nullptr) return;
  ChoiceHead& c = choice_of(v);
  if (const AltDesc* alt = find_alt(d, c.tag)) {
    t_drop(alt->type, c.value);
    c.value = nullptr;
    c.tag = 0;
  }
}

}  // namespace

int32_t choice_size(const TypeDesc* d, void* v, int32_t with_header) {
  if (v == nullptr) return 0;
  const int32_t content = remembered(d, v, [&] {
    ChoiceHead& c = choice_of(v);
    const AltDesc* alt = find_alt(d, c.tag);
    return alt ? t_size(alt->type, c.value, (alt->flags & ALT_WRAPPED) ? 1 : 0) : 0;
  });
  return (with_header & 0xFFFF) != 0 ? tagged(content, 1) : content;
}

void choice_pack(const TypeDesc* d, uint8_t** cursor, void* v, int32_t tag, int32_t* err) {
  (void)tag;
  if (v == nullptr || !cursor_usable(cursor, err)) return;
  ChoiceHead& c = choice_of(v);
  const int32_t expected = choice_size(d, v, 1);
  const uint8_t* start = *cursor;
  const AltDesc* alt = find_alt(d, c.tag);
  if (alt == nullptr) {
    set_err(err, ASN_BAD_CHOICE);
  } else if (alt->flags & ALT_WRAPPED) {
    put_tag(cursor, alt->tag, static_cast<uint32_t>(t_size(alt->type, c.value, 1)));
    t_pack(alt->type, cursor, c.value, tag_or_own(alt->inner_tag, alt->type), err);
  } else {
    t_pack(alt->type, cursor, c.value, c.tag, err);
  }
  check_written(start, *cursor, expected, err);
}

namespace {

// Decodes a choice at the position. `outer` bounds the wrapper of a wrapped
// alternative, whose inner element is read against the wrapper's own end: a
// list hands the limit it was given itself, so that such an element may end
// behind the list (which then closes with an overrun) but not behind what
// encloses the list. Everywhere else `outer` is `limit`.
int32_t choice_uip(const TypeDesc* d, void* v, const uint8_t** cursor, const uint8_t* limit,
                   const uint8_t* outer, int32_t tag, int32_t* err) {
  (void)tag;
  const uint8_t* at = peek(*cursor, limit);
  if (at == nullptr) return 0;
  const uint8_t octet = *at;
  const AltDesc* alt = find_alt(d, octet);
  if (alt == nullptr) return set_err(err, ASN_BAD_CHOICE), 0;
  ChoiceHead& c = choice_of(v);
  if (c.value != nullptr) choice_dip(d, v);  // a fresh record holds nothing to release
  c.tag = octet;
  if (alt->flags & ALT_WRAPPED) {
    const Header w = read_header(*cursor, limit, octet, outer);
    if (w.outcome == Header::kOverrun) return report_overrun(cursor, limit, err), 0;
    *cursor = w.content;
    if (w.length == 0) return 0;
    const uint8_t* wrapper_end = w.content + w.length;
    c.value = unpack_at(alt->type, cursor, wrapper_end, tag_or_own(alt->inner_tag, alt->type), err);
    if (c.value == nullptr) return 0;
    if (*cursor != wrapper_end) return set_err(err, ASN_WRAPPER_END), 0;
    return 1;
  }
  c.value = t_make(alt->type);
  if (c.value == nullptr) return set_err(err, ASN_NO_MEMORY), 0;
  return t_uip(alt->type, c.value, cursor, limit, limit, octet, err);
}

}  // namespace

// Makes a record and decodes into it: _unpack_X below its entry checks.
// Nothing is made when the position is at `limit` or holds another tag
// (any tag will do for choices and raw blocks).
void* unpack_at(const TypeDesc* d, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
                int32_t* err) {
  const uint8_t* at = peek(*cursor, limit);
  if (at == nullptr) return nullptr;
  if ((d->flags & TYPE_ANY_TAG) == 0 && *at != static_cast<uint8_t>(tag)) return nullptr;
  void* record = t_make(d);
  if (record == nullptr) return set_err(err, ASN_NO_RECORD), nullptr;
  if (t_uip(d, record, cursor, limit, limit, tag, err)) return record;
  t_drop(d, record);
  return nullptr;
}

void* constructed_make(const TypeDesc* d) { return detail::take_record(d->record_size); }

// After its release a list record holds nothing but its count: every slot
// below the count was emptied, and none above it was ever filled.
void constructed_drop(const TypeDesc* d, void* v) {
  if (v == nullptr) return;
  d->ops->dip(d, v);
  const bool list = d->shape == Shape::SequenceOf || d->shape == Shape::SetOf;
  detail::give_record(v, d->record_size, list ? d->list.items_offset : d->record_size);
}

}  // namespace qel::engine

namespace qel::engine {

const TypeOps sequence_ops{.make = constructed_make, .dip = seq_dip, .drop = constructed_drop,
                           .size = seq_size, .pack = seq_pack, .uip = seq_uip};
const TypeOps list_ops{.make = constructed_make, .dip = list_dip, .drop = constructed_drop,
                       .size = list_size, .pack = list_pack, .uip = list_uip};
const TypeOps choice_ops{.make = constructed_make, .dip = choice_dip, .drop = constructed_drop,
                         .size = choice_size, .pack = choice_pack, .uip = choice_uip};

void* make(const TypeDesc* d) { return t_make(d); }
void dip(const TypeDesc* d, void* value) { t_dip(d, value); }
void drop(const TypeDesc* d, void* value) { t_drop(d, value); }
int32_t size(const TypeDesc* d, void* value, int32_t with_header) {
  return t_size(d, value, with_header);
}
void pack(const TypeDesc* d, uint8_t** cursor, void* value, int32_t tag, int32_t* err) {
  // The outermost encoder remembers sizes for everything beneath it.
  const bool outermost = !size_memo.active();
  if (outermost) size_memo.begin();
  t_pack(d, cursor, value, tag, err);
  if (outermost) size_memo.end();
}
// The decoding entries check their arguments once; nothing below does.
int32_t uip(const TypeDesc* d, void* value, const uint8_t** cursor, const uint8_t* limit,
            int32_t tag, int32_t* err) {
  if (!decoder_entry(value, cursor, err)) return 0;
  return t_uip(d, value, cursor, limit, limit, tag, err);
}

void* unpack(const TypeDesc* d, const uint8_t** cursor, const uint8_t* limit, int32_t tag,
             int32_t* err) {
  if (err == nullptr || !position_usable(cursor, err)) return nullptr;
  return unpack_at(d, cursor, limit, tag, err);
}

}  // namespace qel::engine
