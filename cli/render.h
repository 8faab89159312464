// One JSON line per object: certificates, requests and revocation lists
// read through the views, or an error line for what could not be read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qel::cli {

enum class ObjectType : uint8_t { automatic, certificate, request, crl };
enum class Digest : uint8_t { md5, sha1, sha256 };

struct RenderOptions {
  ObjectType type = ObjectType::automatic;    // the --type choice
  std::vector<Digest> digests{Digest::sha256};  // fingerprint keys, in order
};

// Text past this size may be written out before the object is finished.
inline constexpr size_t kSpillSize = size_t{1} << 20;

// Where an object's line goes. The renderer appends to `text`; once the
// object can no longer turn into an error line and `text` has grown past
// kSpillSize, it calls spill(), which may write `text` out and clear it.
class Sink {
 public:
  virtual ~Sink() = default;
  virtual void spill() {}
  std::string text;
};

// A failure with its code (a negative result code) and the byte offset in
// the object's DER where it lies; either may be unknown.
struct Failure {
  std::string text;
  std::optional<int32_t> code;
  std::optional<size_t> offset;
};

// One object of an input: a DER element to decode, or a failure found
// before decoding (a broken PEM block, an unknown label, an empty file).
struct Object {
  std::optional<size_t> index;  // unset for failures of the whole file
  bool pem = false;
  ObjectType type = ObjectType::automatic;  // from the PEM label
  std::span<const uint8_t> der;             // when not `owned`: borrowed
  std::vector<uint8_t> owned;               // a PEM block's octets
  std::optional<Failure> failure;

  std::span<const uint8_t> bytes() const { return pem ? std::span<const uint8_t>(owned) : der; }
};

// The objects of an input's bytes: the one DER element, or one per PEM
// block. DER objects borrow `data`, which must outlive them.
std::vector<Object> split_input(std::span<const uint8_t> data);

// Appends the object's line (with its '\n') to sink.text. Returns false when
// the line is an error line.
bool render_object(std::string_view file, const Object& object, const RenderOptions& options,
                   Sink& sink);

// Appends an error line.
void render_error(std::string& out, std::string_view file, std::optional<size_t> index,
                  const Failure& failure);

}  // namespace qel::cli
