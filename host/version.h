#pragma once

namespace kelvo::host {

constexpr const char* kVersion = KELVO_VERSION;
// Where an installed program finds the action bundles, from its own directory.
constexpr const char* kInstalledActions = "../" KELVO_INSTALL_LIBDIR "/kelvo";

}  // namespace kelvo::host
