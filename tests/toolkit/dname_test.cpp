// Name texts, the attribute table and the parsed form.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "qelcert.h"

using namespace qel;

// Failing allocations on demand: malloc, calloc and realloc are replaced by
// wrappers around glibc's own, and the nth call after arming returns null.
// Sanitizer builds keep their own allocator and skip the tests that need this.
#if defined(__SANITIZE_ADDRESS__)
#define QEL_NO_FAIL_ALLOC 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QEL_NO_FAIL_ALLOC 1
#endif
#endif

#ifndef QEL_NO_FAIL_ALLOC
namespace {
long fail_countdown = 0;  // 0: off; n: the nth allocation from now fails
long live_blocks = 0;     // blocks allocated and not yet freed
bool fail_now() { return fail_countdown > 0 && --fail_countdown == 0; }
void* counted(void* p) {
  if (p != nullptr) ++live_blocks;
  return p;
}
}  // namespace
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
void* malloc(size_t n) noexcept { return fail_now() ? nullptr : counted(__libc_malloc(n)); }
void* calloc(size_t n, size_t m) noexcept {
  return fail_now() ? nullptr : counted(__libc_calloc(n, m));
}
void* realloc(void* p, size_t n) noexcept {
  if (fail_now()) return nullptr;
  return p == nullptr ? counted(__libc_realloc(p, n)) : __libc_realloc(p, n);
}
void free(void* p) noexcept {
  if (p != nullptr) --live_blocks;
  __libc_free(p);
}
}
#endif

namespace {

std::vector<uint8_t> read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\\' && i + 3 < s.size() && s[i + 1] == 'x') {
      out += static_cast<char>(std::stoi(s.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else {
      out += s[i];
    }
  }
  return out;
}

// Number of entries of a parsed text, -1 for none.
int entry_count(const dName* dn) {
  if (dn == nullptr) return -1;
  int n = 0;
  while (dn->entries[n] != nullptr) ++n;
  return n;
}

std::string take(char* text) {
  std::string s = text ? text : "<null>";
  std::free(text);
  return s;
}

// Every certificate and request under tests/data named in the expectations,
// written in both forms and parsed back.
TEST(NameText, FixturesMatchIndependentExpectations) {
  std::ifstream in(std::string(QEL_TEST_DATA) + "/names/expected_names.txt");
  ASSERT_TRUE(in.good());
  std::string line;
  int checked = 0;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> f;
    std::stringstream cols(line);
    for (std::string c; std::getline(cols, c, '\t');) f.push_back(c);
    f.resize(6);
    SCOPED_TRACE(f[0] + " " + f[1]);
    const std::vector<uint8_t> der = read_file(std::string(QEL_TEST_DATA) + "/" + f[0]);
    const uint8_t* pos = der.data();
    int32_t err = 0;
    void* record = nullptr;
    int32_t selector = kDnameSubject;
    if (f[0].find("/req_") != std::string::npos) {
      record = _unpack_CertificationRequest(&pos, der.data() + der.size(), 0x30, &err);
      selector = kDnameRequestSubject;
    } else {
      record = _unpack_Certificate(&pos, der.data() + der.size(), 0x30, &err);
      if (f[1] == "issuer") selector = kDnameIssuer;
    }
    if (record == nullptr) continue;  // refused requests are covered elsewhere
    char* text = nullptr;
    ASSERT_EQ(tc_extract_dname(&text, record, selector), 0);
    const std::string slash = take(text);
    ASSERT_EQ(tc_extract_dname_ldap(&text, record, selector), 0);
    const std::string ldap = take(text);
    EXPECT_EQ(slash, unescape(f[2]));
    EXPECT_EQ(ldap, unescape(f[3]));
    dName* from_slash = tc_create_dName(slash.c_str());
    dName* from_ldap = tc_create_dName(ldap.c_str());
    EXPECT_EQ(entry_count(from_slash), std::stoi(f[4]));
    EXPECT_EQ(entry_count(from_ldap), std::stoi(f[5]));
    tc_free_dName(from_slash);
    tc_free_dName(from_ldap);
    if (selector == kDnameRequestSubject) drop_CertificationRequest(static_cast<CertificationRequest*>(record));
    else drop_Certificate(static_cast<Certificate*>(record));
    ++checked;
  }
  EXPECT_GE(checked, 20);
}

TEST(NameText, NullArgumentsAndMissingName) {
  Certificate cert{};
  char* text = nullptr;
  EXPECT_EQ(tc_extract_dname(nullptr, &cert, 0), 2);
  EXPECT_EQ(tc_extract_dname_ldap(&text, nullptr, 1), 2);
  EXPECT_EQ(tc_decode_dname(&text, nullptr), 2);
  EXPECT_EQ(tc_extract_dname(&text, &cert, 7), 1);  // subject without value
  EXPECT_EQ(text, nullptr);
}

AttributeValueAssertion ava_of(std::vector<uint8_t> oid) {
  AttributeValueAssertion ava{};
  EXPECT_EQ(tc_set_ava(&ava, oid.data(), static_cast<int32_t>(oid.size()), 0x13,
                       reinterpret_cast<const uint8_t*>("v"), 1), 0);
  return ava;
}

TEST(AttrTable, LookupsMatchByRowLength) {
  const struct {
    const char* fault;
    std::vector<uint8_t> oid;
    const char* label;
    int32_t length;
  } cases[] = {
      {"gap between T and PA", {0x55, 0x04, 0x0D}, nullptr, 3},
      {"longer OID matches its prefix row", {0x55, 0x04, 0x03, 0x01}, "CN", 3},
      {"shorter OID matches no row", {0x55, 0x04}, nullptr, 3},
      {"email row", {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x01}, "emailAddress", 9},
      {"email OID cut short", {0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09}, nullptr, 3},
      {"last short row", {0x55, 0x04, 0x17}, "FAX", 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    AttributeValueAssertion ava = ava_of(c.oid);
    const char* label = tc_attr_label(&ava);
    EXPECT_STREQ(label ? label : "<null>", c.label ? c.label : "<null>");
    std::vector<uint8_t> padded = c.oid;
    padded.resize(12);  // the length lookup reads a row's worth of bytes
    EXPECT_EQ(tc_attr_oid_length(padded.data()), c.length);
    dip_AttributeValueAssertion(&ava);
  }
  for (const char* text : {"cn", "Cn", "EMAILADDRESS", " CN", "CN ", "X"}) {
    SCOPED_TRACE(text);
    dNameEntry entry{};
    EXPECT_EQ(tc_find_attr_by_label(&entry, text), 0);
    const bool known = std::strchr(text, ' ') == nullptr && std::strcmp(text, "X") != 0;
    EXPECT_EQ(entry.oid != nullptr, known);
    EXPECT_EQ(entry.label != nullptr, known);
  }
}

TEST(Ava, SetWritesHeaderAndGetReadsInsideTheBlock) {
  for (int32_t size : {0, 1, 127, 128, 300}) {
    SCOPED_TRACE(size);
    AttributeValueAssertion ava{};
    const std::vector<uint8_t> value(static_cast<size_t>(size), 'a');
    const uint8_t oid[] = {0x55, 0x04, 0x03};
    ASSERT_EQ(tc_set_ava(&ava, oid, 3, 0x113, value.data(), size), 0);
    const int32_t header = size < 128 ? 2 : size < 256 ? 3 : 4;
    EXPECT_EQ(ava.attributeValue.length, size + header);
    int32_t tag = 0, length = 0;
    const uint8_t* content = nullptr;
    ASSERT_EQ(tc_get_ava(&tag, &content, &length, &ava.attributeValue), 0);
    EXPECT_EQ(tag, 0x13);  // low eight bits of the tag argument
    EXPECT_EQ(length, size);
    EXPECT_EQ(content, ava.attributeValue.bytes + header);
    dip_AttributeValueAssertion(&ava);
  }
  // Blocks whose declared length passes their end are read up to the end.
  const struct {
    const char* fault;
    std::vector<uint8_t> bytes;
    int32_t tag, length, offset;
  } cut[] = {
      {"content shorter than declared", {0x13, 0x05, 'a', 'b'}, 0x13, 2, 2},
      {"long-form length octets missing", {0x13, 0x84, 0x00}, 0x13, 0, 3},
      {"tag only", {0x0C}, 0x0C, 0, 1},
      {"long form fits", {0x13, 0x81, 0x01, 'z'}, 0x13, 1, 3},
  };
  for (const auto& c : cut) {
    SCOPED_TRACE(c.fault);
    // A heap copy of exactly the block's size, so ASan sees any read past it.
    vbl_blk block{static_cast<int32_t>(c.bytes.size()),
                  static_cast<uint8_t*>(std::malloc(c.bytes.size()))};
    std::memcpy(block.bytes, c.bytes.data(), c.bytes.size());
    int32_t tag = 0, length = -1;
    const uint8_t* content = nullptr;
    ASSERT_EQ(tc_get_ava(&tag, &content, &length, &block), 0);
    EXPECT_EQ(tag, c.tag);
    EXPECT_EQ(length, c.length);
    EXPECT_EQ(content, block.bytes + c.offset);
    std::free(block.bytes);
  }
  int32_t tag = 0, length = 0;
  const uint8_t* content = nullptr;
  const vbl_blk lost{5, nullptr};  // failed allocation: length without bytes
  EXPECT_EQ(tc_get_ava(&tag, &content, &length, &lost), 2);
  EXPECT_EQ(tc_get_ava(nullptr, &content, &length, &lost), 2);
}

struct Parsed {
  const char* text;
  std::vector<std::pair<const char*, const char*>> entries;  // label (null: no row), value
  bool null;
};

TEST(CreateDName, TextsOfBothForms) {
  const Parsed cases[] = {
      {"//", {}, false},
      {"/", {}, false},
      {",", {}, false},
      {"", {}, true},
      {"CN=Root", {}, true},
      {"/CN=Root", {{"CN", "Root"}}, false},
      {"CN=Root,", {{"CN", "Root"}}, false},
      {"/C=US//O=Acme/", {{"C", "US"}, {"O", "Acme"}}, false},
      {"CN=Root,O=Acme,C=US", {{"C", "US"}, {"O", "Acme"}, {"CN", "Root"}}, false},
      {"/CN=Root/Acme/", {}, true},
      {"/CN=a=b/", {{"CN", "a=b"}}, false},
      {"/CN=/", {{"CN", ""}}, false},
      {"/cn=Root/", {{"CN", "Root"}}, false},
      {"/XX=1/", {{nullptr, "1"}}, false},
      {"/=1/", {{nullptr, "1"}}, false},
      {"/ CN=Root/", {{nullptr, "Root"}}, false},
      {"CN=Root, O=Acme", {{nullptr, "Acme"}, {"CN", "Root"}}, false},
      {"/emailaddress=a@b/", {{"emailAddress", "a@b"}}, false},
  };
  for (const Parsed& c : cases) {
    SCOPED_TRACE(c.text);
    dName* dn = tc_create_dName(c.text);
    ASSERT_EQ(dn == nullptr, c.null);
    if (dn == nullptr) continue;
    ASSERT_EQ(entry_count(dn), static_cast<int>(c.entries.size()));
    for (size_t i = 0; i < c.entries.size(); ++i) {
      const dNameEntry& e = *dn->entries[i];
      EXPECT_STREQ(e.label ? e.label : "<null>", c.entries[i].first ? c.entries[i].first : "<null>");
      EXPECT_EQ(e.oid == nullptr, e.label == nullptr);
      EXPECT_STREQ(e.value, c.entries[i].second);
    }
    EXPECT_EQ(tc_free_dName(dn), 0);
  }
  EXPECT_EQ(tc_create_dName(nullptr), nullptr);
  EXPECT_EQ(tc_free_dName(nullptr), 0);
}

std::vector<uint8_t> packed(Name* name) {
  std::vector<uint8_t> out(static_cast<size_t>(sizeof_Name(name, 1)));
  uint8_t* pos = out.data();
  int32_t err = 0;
  _pack_Name(&pos, name, 0xFC, &err);
  EXPECT_EQ(err, 0);
  EXPECT_EQ(pos, out.data() + out.size());
  return out;
}

TEST(EncodeName, GivesPrintableStringRdns) {
  const struct {
    const char* text;
    std::vector<uint8_t> der;
  } cases[] = {
      {"/C=US/CN=Root/",
       {0x30, 0x1C, 0x31, 0x0B, 0x30, 0x09, 0x06, 0x03, 0x55, 0x04, 0x06, 0x13, 0x02, 'U', 'S',
        0x31, 0x0D, 0x30, 0x0B, 0x06, 0x03, 0x55, 0x04, 0x03, 0x13, 0x04, 'R', 'o', 'o', 't'}},
      {"CN=x,emailAddress=a@b",
       {0x30, 0x20, 0x31, 0x12, 0x30, 0x10, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01,
        0x09, 0x01, 0x13, 0x03, 'a', '@', 'b', 0x31, 0x0A, 0x30, 0x08, 0x06, 0x03, 0x55, 0x04,
        0x03, 0x13, 0x01, 'x'}},
      {"/", {0x30, 0x00}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    dName* dn = tc_create_dName(c.text);
    Name name{};
    ASSERT_EQ(tc_encode_Name(&name, dn), 0);
    EXPECT_EQ(packed(&name), c.der);
    char* text = nullptr;
    ASSERT_EQ(tc_decode_dname(&text, static_cast<RDNSequence*>(name.value)), 0);
    dName* again = tc_create_dName(text);
    EXPECT_EQ(tc_compare_dName(dn, again), 0) << text;
    std::free(text);
    tc_free_dName(again);
    tc_free_dName(dn);
    dip_Name(&name);
  }
}

TEST(EncodeName, RefusesWhatDoesNotFitAndBuildsNothing) {
  std::string many = "/";
  for (int i = 0; i < 33; ++i) many += "CN=" + std::to_string(i) + "/";
  std::string full = "/";
  for (int i = 0; i < 32; ++i) full += "O=" + std::to_string(i) + "/";
  const struct {
    const char* fault;
    std::string text;
    int32_t result;
  } cases[] = {
      {"entry without a row", "/CN=a/XX=b/", 2},
      {"33 entries", many, 2},
      {"32 entries fit", full, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    dName* dn = tc_create_dName(c.text.c_str());
    Name name{0x30, &name};  // stale contents are overwritten, not followed
    EXPECT_EQ(tc_encode_Name(&name, dn), c.result);
    EXPECT_EQ(name.tag, c.result == 0 ? 0x30 : 0);
    EXPECT_EQ(name.value == nullptr, c.result != 0);
    if (c.result == 0) {
      EXPECT_EQ(static_cast<RDNSequence*>(name.value)->count, 32);
    }
    dip_Name(&name);
    tc_free_dName(dn);
  }
  Name name{};
  dName empty{};
  EXPECT_EQ(tc_encode_Name(nullptr, &empty), 2);
  EXPECT_EQ(tc_encode_Name(&name, nullptr), 2);
}

Certificate* load_cert(const char* file) {
  const std::vector<uint8_t> der = read_file(std::string(QEL_TEST_DATA) + "/names/" + file);
  const uint8_t* pos = der.data();
  int32_t err = 0;
  return _unpack_Certificate(&pos, der.data() + der.size(), 0x30, &err);
}

TEST(StrcpyX, FirstValueOfEachRdnOnly) {
  const struct {
    const char* fault;
    const char* file;
    int32_t use_issuer, row;
    const char* value;  // null: not found
  } cases[] = {
      {"first value of a multi-valued RDN", "multivalued.der", 0, 7, "Acme"},
      {"second value of that RDN is not looked at", "multivalued.der", 0, 8, nullptr},
      {"issuer", "multivalued.der", 1, 0, "Root"},
      {"zero byte ends the copy", "zerobyte.der", 0, 0, "ab"},
      {"zero byte first", "zerobyte.der", 0, 7, ""},
      {"absent attribute", "plain.der", 0, 15, nullptr},
      {"row number past the table", "plain.der", 0, 16, nullptr},
      {"empty name", "empty.der", 0, 0, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    Certificate* cert = load_cert(c.file);
    ASSERT_NE(cert, nullptr);
    char* out = reinterpret_cast<char*>(&out);
    EXPECT_EQ(tc_strcpyX(cert, c.use_issuer, c.row, &out), c.value ? 0 : -1);
    EXPECT_EQ(take(out), c.value ? c.value : "<null>");
    drop_Certificate(cert);
  }
  char* texts[32] = {strdup("a"), nullptr, strdup("b")};
  tc_free_dname(texts);
  for (char* t : texts) EXPECT_EQ(t, nullptr);
}

#ifndef QEL_NO_FAIL_ALLOC
// Fails the 1st, 2nd, ... allocation of `call` until it gets through; after
// each failure nothing may be left allocated.
template <class Call>
void sweep_failures(const char* what, Call call) {
  SCOPED_TRACE(what);
  for (long k = 1; k < 200; ++k) {
    const long before = live_blocks;
    fail_countdown = k;
    const bool ok = call();
    const bool hit = fail_countdown == 0;
    fail_countdown = 0;
    if (!hit) {
      EXPECT_TRUE(ok) << "no allocation failed at " << k;
      EXPECT_GT(k, 1) << "allocations are not intercepted";
      return;
    }
    EXPECT_FALSE(ok) << "allocation " << k << " failed unnoticed";
    EXPECT_EQ(live_blocks, before) << "allocation " << k;
  }
  ADD_FAILURE() << "never got through";
}

TEST(AllocationFailure, NothingHalfBuiltIsLeft) {
  Certificate* cert = load_cert("allrows.der");
  ASSERT_NE(cert, nullptr);
  char* text = reinterpret_cast<char*>(&text);
  sweep_failures("tc_format_dname", [&] {
    const int32_t r = tc_extract_dname(&text, cert, 0);
    EXPECT_TRUE(r == 0 ? text != nullptr : r == 4 && text == nullptr);
    std::free(text);
    return r == 0;
  });
  sweep_failures("tc_strcpyX", [&] {
    const int32_t r = tc_strcpyX(cert, 0, 0, &text);
    EXPECT_EQ(r == 0, text != nullptr);
    std::free(text);
    return r == 0;
  });
  sweep_failures("tc_create_dName", [&] {
    dName* dn = tc_create_dName("CN=a,O=b,XX=c,C=d,");
    tc_free_dName(dn);
    return dn != nullptr;
  });
  dName* dn = tc_create_dName("/C=US/O=Acme/CN=Root/");
  sweep_failures("tc_encode_Name", [&] {
    Name name{};
    const int32_t r = tc_encode_Name(&name, dn);
    EXPECT_TRUE(r == 0 ? name.value != nullptr : r == 4 && name.value == nullptr && name.tag == 0);
    dip_Name(&name);
    return r == 0;
  });
  sweep_failures("tc_set_ava", [&] {
    AttributeValueAssertion ava{};
    const uint8_t oid[] = {0x55, 0x04, 0x03};
    const int32_t r = tc_set_ava(&ava, oid, 3, 0x13, oid, 3);
    if (r != 0) {
      EXPECT_EQ(r, 4);
      EXPECT_TRUE(ava.attributeType.length == 0 && ava.attributeType.bytes == nullptr);
      EXPECT_TRUE(ava.attributeValue.length == 0 && ava.attributeValue.bytes == nullptr);
    }
    dip_AttributeValueAssertion(&ava);
    return r == 0;
  });
  tc_free_dName(dn);
  drop_Certificate(cert);
}
#else
TEST(AllocationFailure, NothingHalfBuiltIsLeft) {
  GTEST_SKIP() << "sanitizer builds keep their own allocator";
}
#endif

}  // namespace
