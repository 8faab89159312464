// One JSON line per object: certificates, requests and revocation lists
// read through the views, or an error line for what could not be read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "view/view.h"

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

// One object of an input: a DER element or a PEM block to decode, or a
// failure found before decoding (an empty file, one that cannot be read).
struct Object {
  std::optional<size_t> index;  // unset for failures of the whole file
  bool pem = false;
  // DER: the element's octets; PEM: the block's text, from its BEGIN line
  // up to the next BEGIN line. Borrowed from the input's bytes.
  std::span<const uint8_t> der;
  size_t line = 0;  // PEM: the line of the BEGIN line, from 1
  std::optional<Failure> failure;
  std::shared_ptr<const void> hold;  // keeps the octets `der` borrows, when set
};

// The objects of an input's bytes, at least one: the one DER element, or
// one per PEM block. They borrow `data`, which must outlive them.
std::vector<Object> split_input(std::span<const uint8_t> data);

// Cuts a PEM text into one object per block as the text arrives: each
// BEGIN line ("-----BEGIN <label>-----", trailing blanks ignored) starts an
// object that runs up to the next one. Read alone, each gives the block the
// whole text would give, so blocks are decoded where they are rendered.
class PemCutter {
 public:
  // `text`: the text so far (a longer prefix each time, at the same place);
  // `complete`: whether it is all there. Appends the objects whose end is
  // known. After the complete text, no object at all means no block.
  void feed(std::span<const uint8_t> text, bool complete, std::vector<Object>& out);
  size_t objects() const { return index_; }

  // Where the text still matters: the block not yet closed, or the line not
  // yet complete. A text read in pieces goes on from there.
  size_t keep() const { return open_ ? start_ : scanned_; }
  // The text now starts at keep() of `text`, the text so far.
  void rebase(std::span<const uint8_t> text);

 private:
  size_t scanned_ = 0;  // complete lines before this are looked at
  size_t line_ = 1, counted_ = 0;  // line number at offset counted_
  bool open_ = false;   // an object has started and not yet ended
  size_t start_ = 0, start_line_ = 0, index_ = 0;
};


// The failure of a text that looks like PEM but has no block.
extern const char* const kNoBlock;

// Appends the object's line (with its '\n') to sink.text. Returns false when
// the line is an error line.
bool render_object(std::string_view file, const Object& object, const RenderOptions& options,
                   Sink& sink);

// Appends an error line.
void render_error(std::string& out, std::string_view file, std::optional<size_t> index,
                  const Failure& failure);

}  // namespace qel::cli
