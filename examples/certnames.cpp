// certnames: prints the subject, the issuer and the alternative names of DER
// certificates.
//
//   certnames cert.der [more.der ...]
#include <cstdio>

#include <qelcert/cxx.h>

#include "read_file.h"

namespace {

// Prints the names of the certificate file at `path`; false when it can't be
// read or decoded.
bool print_names(const char* path) {
  const auto bytes = read_file(path);
  if (!bytes) {
    std::fprintf(stderr, "certnames: cannot read %s\n", path);
    return false;
  }
  const auto [cert, err, used] = qel::decode<qel::Certificate>(*bytes);
  if (!cert) {
    std::fprintf(stderr, "certnames: %s is no DER certificate: %s\n", path, qel::codec_error_text(err));
    return false;
  }
  std::printf("%s\n", path);

  qel::text subject, issuer;
  if (qel::tc_extract_dname(qel::out(subject), cert.get(), qel::kDnameSubject) == qel::TC_SUCCESS)
    std::printf("  subject: %s\n", subject.get());
  if (qel::tc_extract_dname(qel::out(issuer), cert.get(), qel::kDnameIssuer) == qel::TC_SUCCESS)
    std::printf("  issuer: %s\n", issuer.get());

  // The extension texts are gathered into one record that owns them.
  if (qel::tc_retrieve_Extensions(cert.get(), qel::kExtensionsOfCertificate) == qel::TC_SUCCESS) {
    const qel::owner<qel::Extension_Results> names(qel::Get_Extension_Results());
    if (names && names->subjectAltName) std::printf("  subject alt names: %s\n", names->subjectAltName);
    if (names && names->issuerAltName) std::printf("  issuer alt names: %s\n", names->issuerAltName);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: certnames CERTIFICATE.der...\n");
    return 2;
  }
  int status = 0;
  for (int i = 1; i < argc; ++i)
    if (!print_names(argv[i])) status = 1;
  return status;
}
