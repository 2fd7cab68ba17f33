#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

namespace kelvo {

class FileSystem;

// Gives the file `to` the owner, mode, access control list and extended attributes of the file
// `from`, whose status is `original`. What the file system will not take is not an error; it comes
// back as one clause each. Where the group cannot be kept, the group's permissions are reduced to
// those of others, so that nobody gains access.
std::vector<std::string> copyAttributes(FileSystem& fileSystem, int from, int to,
                                        const struct stat& original);

}  // namespace kelvo
