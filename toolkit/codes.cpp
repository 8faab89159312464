// The message table of the toolkit's result codes.
#include "toolkit/codes.h"

namespace qel {

const err_row err2str2[ERR2STR2_ROWS] = {
    {"success", 0},
    {"unknown", 1},
    {"invalid arguments", 1},
    {"error parsing item, ignoring:", 1},
    {"internal memory error", 1},
    {"issuing certificate not found in verification chain, ignoring:", 1},
    {"invalid signature, ignoring:", 1},
    {"invalid date, ignoring:", 1},
    {"invalid extension, ignoring:", 1},
    {"unhandled critical extension detected, ignoring:", 1},
    {"error parsing distinguished name string, ignoring:", 1},
    {"certificate not found", 1},
    {"alt-subject not critical, and no subject name, ignoring:", 1},
    {"alt-issuer not critical, and no issuer name, ignoring:", 1},
    {"duplicate environment item detected, ignoring:", 1},
    {"certificate is revoked, ignoring:", 1},
    {"certificate revocation list not found in verification chain, ignoring:", 1},
    {"ldap service not currently available", 1},
    {"file not found:", 1},
    {"invalid key usage, ignoring:", 1},
    {"", 0},
};

const char* CharErr(unsigned code) {
  // Codes beyond the closing row have no text; answering null keeps a stray
  // code from reading past the table.
  if (code == 0u || code >= static_cast<unsigned>(ERR2STR2_ROWS)) return nullptr;
  return err2str2[code].text;
}

}  // namespace qel
