#include "platform/workflow/action_loading.h"

#include <utility>

#include "platform/workflow/principal_class.h"

namespace kelvo {

Result<LoadedAction> loadAction(const std::string& bundlePath) {
  auto bundle = NSBundle::bundleWithPath(bundlePath);
  if (!bundle) {
    return bundle.error();
  }
  LoadedAction loaded{std::move(bundle).value(), nullptr};
  if (const auto done = loaded.bundle->load(); !done) {
    return done.error();
  }
  auto* const factory =
      reinterpret_cast<PrincipalClassFactory*>(loaded.bundle->symbol(kPrincipalClassFactory));
  if (factory == nullptr) {
    return Error{"its module exports no " + std::string(kPrincipalClassFactory)};
  }
  const BundleInfo& info = loaded.bundle->info();
  loaded.action.reset(factory(info.principalClass.c_str()));
  if (!loaded.action) {
    return Error{"its module has no class " + info.principalClass};
  }
  loaded.action->setParameters(info.defaultParameters);
  return loaded;
}

}  // namespace kelvo
