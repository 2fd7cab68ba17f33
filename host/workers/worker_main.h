#pragma once

#include <string>

namespace kelvo::host {

// The life of a worker process: loads and opens the action that the host names on kWorkerSocket,
// then runs it on one file after the other until the host closes the channel. `host` is the process
// number of the host, in decimal. Returns the exit status.
int workerMain(const std::string& host);

}  // namespace kelvo::host
