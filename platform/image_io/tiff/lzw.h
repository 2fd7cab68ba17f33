#pragma once

#include <cstddef>
#include <span>
#include <vector>

// LZW as TIFF has it (TIFF 6.0, section 13): codes of 9 to 12 bits, the first bit
// highest, wider one code earlier than need be.
namespace kelvo::tiff {

// Decodes until `samples` is full. False if the data do not begin with a clear code (early writers
// had the bits the other way round), end early or hold a code that was not made.
bool decodeLzw(std::span<const std::byte> strile, std::span<std::byte> samples);

// Replaces `strile`.
void encodeLzw(std::span<const std::byte> samples, std::vector<std::byte>& strile);

}  // namespace kelvo::tiff
