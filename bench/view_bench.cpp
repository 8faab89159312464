// The read views: every accessor of a certificate view over the CA set, and
// revocation entries streamed from a list of 2,048. Beside them the same
// certificates decoded whole through the catalogue, which answers less.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench/floor.h"
#include "cxx.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;
using qel_bench::keep;

Bytes read_file(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The CA set of the certificate benchmarks: the system's Mozilla folder.
const std::vector<Bytes>& ca_set() {
  static const std::vector<Bytes> set = [] {
    std::vector<fs::path> paths;
    const fs::path dir("/usr/share/ca-certificates/mozilla");
    if (fs::is_directory(dir))
      for (const auto& e : fs::directory_iterator(dir)) paths.push_back(e.path());
    std::sort(paths.begin(), paths.end());
    std::vector<Bytes> out;
    for (const auto& path : paths) {
      const Bytes text = read_file(path);
      for (qel::PemBlock& block :
           qel::read_pem(std::string_view(reinterpret_cast<const char*>(text.data()), text.size())))
        if (block.ok() && block.label == "CERTIFICATE") out.push_back(std::move(block.der));
    }
    return out;
  }();
  return set;
}

// Asks a certificate view everything it answers.
size_t every_answer(const Bytes& der) {
  const qel::CertificateView cert(der);
  size_t n = static_cast<size_t>(cert.version()) + cert.serial().size();
  n += cert.signature_algorithm().text().size();
  n += cert.issuer().rfc4514().size() + cert.subject().rfc4514().size();
  if (auto rdns = cert.subject().rdns())
    for (const auto& rdn : rdns.value)
      for (const auto& a : rdn) n += a.text().size() + a.type.text().size();
  n += static_cast<size_t>(cert.not_before().value.time_since_epoch().count());
  n += static_cast<size_t>(cert.not_after().value.time_since_epoch().count());
  if (auto key = cert.public_key()) n += key->bits + key->curve.text().size() + key->algorithm.text().size();
  const qel::ExtensionsView ext = cert.extensions();
  if (auto all = ext.all())
    for (const auto& e : all.value) n += e.oid.text().size() + qel::ExtensionsView::decodes(e);
  if (auto names = ext.subject_alt_names())
    for (const auto& name : names.value) n += name.text.size();
  n += ext.issuer_alt_names().value.size() + ext.basic_constraints().value.ca + ext.key_usage().value;
  if (auto eku = ext.extended_key_usage())
    for (const auto& oid : eku.value) n += oid.text().size();
  n += ext.subject_key_id().value.size() + ext.authority_key_id().value.size();
  if (auto points = ext.crl_distribution_points())
    for (const auto& p : points.value) n += p.uris.size();
  if (auto access = ext.authority_info_access()) n += access->ocsp.size() + access->ca_issuers.size();
  if (auto policies = ext.policies())
    for (const auto& oid : policies.value) n += oid.text().size();
  return n;
}

void per_cert(benchmark::State& state, size_t count) {
  state.SetLabel(std::to_string(count) + " CA certificates");
  state.counters["per_cert"] = benchmark::Counter(
      static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_ViewEveryAccessor(benchmark::State& state) {
  const auto& certs = ca_set();
  if (certs.empty()) return state.SkipWithError("no CA certificates");
  for (auto _ : state)
    for (const Bytes& der : certs) keep(every_answer(der));
  per_cert(state, certs.size());
}

// The view's walk alone, answering nothing.
void BM_ViewOpen(benchmark::State& state) {
  const auto& certs = ca_set();
  if (certs.empty()) return state.SkipWithError("no CA certificates");
  for (auto _ : state)
    for (const Bytes& der : certs) keep(qel::CertificateView(der).ok());
  per_cert(state, certs.size());
}

// The catalogue's whole decode and release, for scale.
void BM_ViewCatalogueDecode(benchmark::State& state) {
  const auto& certs = ca_set();
  if (certs.empty()) return state.SkipWithError("no CA certificates");
  for (auto _ : state)
    for (const Bytes& der : certs) keep(qel::decode<qel::Certificate>(der).value.get() != nullptr);
  per_cert(state, certs.size());
}

void BM_ViewRevokedEntries(benchmark::State& state) {
  const Bytes der = read_file(fs::path(QEL_TEST_DATA) / "families/crl/v2_2048_entries.der");
  const qel::CrlView crl(der);
  if (!crl.ok()) return state.SkipWithError("list fixture missing");
  size_t entries = 0;
  for (auto _ : state) {
    entries = 0;
    for (const qel::RevokedEntry& entry : crl.revoked()) {
      keep(entry.serial.size() + entry.reason.value_or(0) + entry.date->time_since_epoch().count());
      ++entries;
    }
  }
  state.SetLabel(std::to_string(entries) + " entries");
  state.counters["per_entry"] = benchmark::Counter(
      static_cast<double>(entries), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK(BM_ViewEveryAccessor);
BENCHMARK(BM_ViewOpen);
BENCHMARK(BM_ViewCatalogueDecode);
BENCHMARK(BM_ViewRevokedEntries);

}  // namespace
