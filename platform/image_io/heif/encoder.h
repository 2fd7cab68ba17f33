#pragma once

#include <cstddef>
#include <vector>

#include "platform/foundation/result.h"
#include "platform/image_io/heif/decoder.h"
#include "platform/image_io/heif/planes.h"

namespace kelvo::heif {

// A coded item as it goes into a file.
struct Encoded {
  std::vector<std::byte> data;
  std::vector<std::byte> configuration;  // the payload of its 'hvcC' or 'av1C' property
};

// Codes the planes with the coding's format, quantiser (or without loss) and colour numbers, on the
// calling thread alone. The planes' chroma and depth are the coding's.
Result<Encoded> encodePlanes(const Planes& planes, const Coding& coding);

// The two encoders.
Result<Encoded> encodeHevc(const Planes& planes, const Coding& coding);
Result<Encoded> encodeAv1(const Planes& planes, const Coding& coding);

}  // namespace kelvo::heif
