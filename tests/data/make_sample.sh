#!/usr/bin/env bash
# Makes sample.der, a self-signed certificate, and sample_fingerprints.txt,
# its MD5 fingerprints as openssl computes them: of the file's bytes ("der")
# and of its base64 text in lines of 64 ("pem"); the "trailing_" ones are
# those of the file with the 7 bytes "trailer" appended.
set -euo pipefail
cd "$(dirname "$0")"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout /dev/null \
  -subj "/C=US/O=Example Widgets/CN=Example Root" -days 3650 -sha256 \
  -set_serial 4660 -outform DER -out sample.der 2>/dev/null
fingerprint() { openssl md5 -c | sed 's/^.*= //'; }
{
  echo "der $(fingerprint < sample.der)"
  echo "pem $(openssl base64 -e -in sample.der | fingerprint)"
  echo "trailing_der $({ cat sample.der; printf trailer; } | fingerprint)"
  echo "trailing_pem $({ cat sample.der; printf trailer; } | openssl base64 -e | fingerprint)"
} > sample_fingerprints.txt
