// Helpers shared by the tests: octets from hex text and back, table files and
// fixtures of the test data folder, decoding and encoding through a type's
// descriptor, and the allocation-failure loop.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "asn/alloc.h"
#include "asn/engine.h"

namespace qel::tst {

using Bytes = std::vector<uint8_t>;

// Under CI (QEL_CI set) missing test data is a failure, elsewhere a skip.
inline void skip_unless_ci(const std::string& why) {
  if (std::getenv("QEL_CI") != nullptr) FAIL() << why;
  GTEST_SKIP() << why;
}

// Octets from text such as "30 0c 06"; spaces are skipped.
inline Bytes B(const std::string& text) {
  Bytes out;
  for (size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] == ' ') continue;
    out.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    ++i;
  }
  return out;
}

inline std::string hex(const uint8_t* data, size_t size) {
  std::string out;
  char two[4];
  for (size_t i = 0; i < size; ++i) out += (std::snprintf(two, sizeof two, i ? " %02x" : "%02x", data[i]), two);
  return out;
}
inline std::string hex(const Bytes& b) { return hex(b.data(), b.size()); }

inline std::string repeat(const std::string& text, int n) {
  std::string out;
  while (n-- > 0) out += text;
  return out;
}

// The rows of a table file of the test data folder: every line but blanks
// and "#" comments, split at `sep`, blanks around the fields trimmed.
inline std::vector<std::vector<std::string>> table(const std::string& file, char sep = '|') {
  std::vector<std::vector<std::string>> rows;
  std::ifstream in(std::string(QEL_TEST_DATA) + "/" + file);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    rows.emplace_back();
    for (size_t at = 0, end; at <= line.size(); at = end + 1) {
      end = std::min(line.find(sep, at), line.size());
      const size_t a = line.find_first_not_of(' ', at), b = line.find_last_not_of(' ', end - 1);
      rows.back().push_back(a < end ? line.substr(a, b - a + 1) : "");
    }
  }
  return rows;
}

// A returned heap text as a string, "<null>" for none; the text is freed.
inline std::string take(char* text) {
  const std::string out = text != nullptr ? text : "<null>";
  std::free(text);
  return out;
}

// A text of a table file with its \xHH escapes replaced by the bytes.
inline std::string unescape(const std::string& s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    const bool hex = s[i] == '\\' && i + 3 < s.size() && s[i + 1] == 'x';
    out += hex ? static_cast<char>(std::stoi(s.substr(i + 2, 2), nullptr, 16)) : s[i];
    i += hex ? 3 : 0;
  }
  return out;
}

// A file's octets; relative paths are taken from the test data folder.
inline Bytes read_file(const std::string& path) {
  std::ifstream in(path[0] == '/' ? path : std::string(QEL_TEST_DATA) + "/" + path,
                   std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

// The .der files of a folder, sorted; none when the folder is absent.
inline std::vector<std::string> der_files(const std::filesystem::path& dir) {
  std::vector<std::string> out;
  if (std::filesystem::is_directory(dir))
    for (const auto& e : std::filesystem::directory_iterator(dir))
      if (e.path().extension() == ".der") out.push_back(e.path().string());
  std::sort(out.begin(), out.end());
  return out;
}

// A copy in a heap block of exactly its size (one octet when empty, so that an
// empty input has an address too): ASan reports any read past the end.
inline Bytes input(const Bytes& b) {
  Bytes out;
  out.reserve(b.empty() ? 1 : b.size());
  out.assign(b.begin(), b.end());
  return out;
}

struct Decoded {
  void* record;
  int32_t result, err;
  size_t consumed;
};

// Decodes into a fresh record of type `d`; the caller drops it.
inline Decoded decode(const TypeDesc* d, const Bytes& in, int32_t tag) {
  Bytes buf = input(in);
  const uint8_t* pos = buf.data();
  Decoded out{engine::make(d), 0, 0, 0};
  out.result = engine::uip(d, out.record, &pos, buf.data() + buf.size(), tag, &out.err);
  out.consumed = static_cast<size_t>(pos - buf.data());
  return out;
}

// Encodes into exactly sizeof(value, 1) octets and returns what was written.
inline Bytes encode(const TypeDesc* d, void* value, int32_t tag, int32_t* err) {
  Bytes out(static_cast<size_t>(engine::size(d, value, 1)));
  uint8_t* pos = out.data();
  engine::pack(d, &pos, value, tag, err);
  out.resize(static_cast<size_t>(pos - out.data()));
  return out;
}

// Decodes `der` as one `d` and encodes the record again; empty when the
// octets come back exactly with no code stored, else what went wrong.
// `pack_code` receives the encoder's code.
inline std::string round_trip(const TypeDesc* d, const Bytes& der, int32_t* pack_code = nullptr) {
  Decoded r = decode(d, der, 0x30);
  std::string why;
  int32_t code = 0;
  if (r.result != 1) why = "does not decode";
  else if (r.err != 0) why = "decode stored " + std::to_string(r.err);
  else if (r.consumed != der.size()) why = "decode stopped early";
  else if (engine::size(d, r.record, 1) != static_cast<int32_t>(der.size())) why = "size differs";
  else if (encode(d, r.record, 0x30, &code) != der) why = "encoding differs";
  if (code != 0) why = "encode stored " + std::to_string(code);
  if (pack_code != nullptr) *pack_code = code;
  engine::drop(d, r.record);
  return why;
}

// A check of the record a decode left, typed for its record struct.
template <class T, class F>
std::function<void(void*)> on(F f) {
  return [f](void* v) { f(*static_cast<T*>(v)); };
}

// Runs `call` with its 1st, 2nd, ... allocation failing in turn, until a run
// meets no failure, and returns how many allocations that run made. `call`
// checks the result each failure leads to; LSan, in the sanitizer build,
// that nothing half built is left.
template <class Call>
long each_allocation_failing(Call call) {
  for (long n = 1;; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
    detail::test_hook_fail_nth_allocation = n;
    call();
    const bool reached = detail::test_hook_fail_nth_allocation == 0;
    detail::test_hook_fail_nth_allocation = 0;
    if (!reached) return n - 1;
  }
}

}  // namespace qel::tst
