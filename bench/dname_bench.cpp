// Time of tc_extract_dname per certificate, slash and LDAP form, on the name
// fixtures (and the certificate fixtures when present).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qelcert.h"

namespace {

struct Loaded {
  std::string name;
  qel::Certificate* cert;
};

std::vector<Loaded> load_all() {
  std::vector<Loaded> out;
  for (const char* dir : {"/names", "/certs"}) {
    const std::filesystem::path root = std::string(QEL_TEST_DATA) + dir;
    if (!std::filesystem::is_directory(root)) continue;
    std::vector<std::filesystem::path> files;
    for (const auto& e : std::filesystem::directory_iterator(root))
      if (e.path().extension() == ".der" && e.path().stem().string().rfind("req_", 0) != 0)
        files.push_back(e.path());
    std::sort(files.begin(), files.end());
    for (const auto& f : files) {
      std::ifstream in(f, std::ios::binary);
      const std::vector<uint8_t> der{std::istreambuf_iterator<char>(in), {}};
      const uint8_t* pos = der.data();
      int32_t err = 0;
      qel::Certificate* cert = qel::_unpack_Certificate(&pos, der.data() + der.size(), 0x30, &err);
      if (cert != nullptr) out.push_back({std::string(dir + 1) + "/" + f.stem().string(), cert});
    }
  }
  return out;
}

// Issuer and subject, as the report writes them.
template <int32_t (*Extract)(char**, const void*, int32_t)>
void extract_both(benchmark::State& state, qel::Certificate* cert) {
  for (auto _ : state) {
    for (int32_t selector : {qel::kDnameIssuer, qel::kDnameSubject}) {
      char* text = nullptr;
      benchmark::DoNotOptimize(Extract(&text, cert, selector));
      std::free(text);
    }
  }
  // Two calls per iteration; reported as time per call.
  state.counters["per_call"] = benchmark::Counter(static_cast<double>(state.iterations()) * 2,
                                                  benchmark::Counter::kIsRate |
                                                      benchmark::Counter::kInvert);
}

const int registered = [] {
  for (const Loaded& l : load_all()) {
    benchmark::RegisterBenchmark(("extract_dname/" + l.name).c_str(),
                                 extract_both<qel::tc_extract_dname>, l.cert);
    benchmark::RegisterBenchmark(("extract_dname_ldap/" + l.name).c_str(),
                                 extract_both<qel::tc_extract_dname_ldap>, l.cert);
  }
  return 0;
}();

}  // namespace
