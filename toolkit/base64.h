// Base64 in the standard alphabet with "=" padding.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
namespace qel {

// tc_encode_base64 writes the base64 text of `size` bytes at `data`, with
// padding and no line breaks, into a new zero-terminated heap text. Stores the
// text through `text` and its number of characters (terminator not counted)
// through `length`. Returns 0, or 4 when the text can't be allocated; `text`
// is then null. The caller releases the text with free.
int tc_encode_base64(char** text, uint32_t* length, const uint8_t* data, uint32_t size);

// tc_decode_base64 decodes the zero-terminated `text` into a new heap block
// stored through `bytes`, and stores the number of bytes through `length`.
// White space may stand anywhere between characters. Decoding stops at the
// first "=" in the third or fourth place of a group. Characters outside the
// alphabet are not rejected: they count as the value 0xFF and give wrong
// bytes. Returns 0; 3 when the text ends inside a group (the block holds what
// was decoded, `length` its capacity); or 4 when the block can't be allocated
// (`bytes` is then null). On 0 and 3 the caller releases the block with free.
int tc_decode_base64(uint8_t** bytes, uint32_t* length, const char* text);

}  // namespace qel
#pragma GCC visibility pop
