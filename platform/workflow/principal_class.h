#pragma once

#include "platform/foundation/class_factory.h"
#include "platform/workflow/am_bundle_action.h"

namespace kelvo {

// The one function that an action's module exports, under the name kPrincipalClassFactory. It makes
// the object of the class that the bundle's Info.json names as "principalClass"; null if the module
// has no such class or the object cannot be made. The caller owns the object (as a unique_ptr) and
// lets go of it before the module is unloaded. Throws nothing.
using PrincipalClassFactory = AMBundleAction*(const char* className);

constexpr const char* kPrincipalClassFactory = "kelvoCreatePrincipalClass";

}  // namespace kelvo

// Exports the factory for one class. Used once in a module, in the namespace of the class and with
// the class's plain name: KELVO_EXPORT_PRINCIPAL_CLASS(Kelvo_Images)
#define KELVO_EXPORT_PRINCIPAL_CLASS(Class)                                                     \
  extern "C" __attribute__((visibility("default"))) kelvo::AMBundleAction*                      \
  kelvoCreatePrincipalClass(const char* className) {                                            \
    return kelvo::createObjectOfClass<Class, kelvo::AMBundleAction>(className ? className : "", \
                                                                    #Class);                    \
  }
