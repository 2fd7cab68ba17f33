#pragma once

#include <string>
#include <vector>

namespace kelvo::host {

// Takes from this process what work on untrusted files has no need of, for good and by the kernel's
// own means: it can no longer make, change or remove files outside `writable` (directories, with
// all beneath them), open sockets, start processes, look into others, or gain rights. It may read
// what its user may, and start threads.
//
// Returns what this kernel could not be made to refuse, one phrase each; empty: all is in force.
std::vector<std::string> confineProcess(const std::vector<std::string>& writable);

}  // namespace kelvo::host
