#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/jpeg/jpeg_structure.h"

namespace kelvo::jpeg {

class Properties;

// Whether an application segment begins with this identifier.
bool hasIdentifier(const Segment& segment, std::uint8_t marker, std::string_view identifier);

// The ICC profile, put together from its numbered segments; empty if there is none or it is not
// complete.
std::vector<std::byte> iccProfile(const std::vector<Segment>& segments);

// Why the file cannot be adjusted without losing or contradicting a part of it: colours that are
// not RGB, a gain map that is not to be dropped or cannot be, further pictures.
Result<void> checkWritable(const Properties& properties, const EncodeOptions& options);

}  // namespace kelvo::jpeg
