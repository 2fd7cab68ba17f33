#pragma once

#include <memory>

#include "platform/image_io/codec.h"

namespace kelvo {

// Every frame's indices stay as they are; only its colour table is new. The first frame that uses
// the global table decides what becomes of it. A later one that has mapped it otherwise (because it
// was measured by itself) gets its own table, of the same size. The new file's tables stand in the
// order of the old ones.
//
// A table's entry that a frame shows nothing of, its transparent one, is settled by the other
// frames that share the table; if there is none it stays as it was.
Result<std::unique_ptr<CodecWriter>> createGifWriter(OutputFile& file, std::size_t frames,
                                                     const EncodeOptions& options);

}  // namespace kelvo
