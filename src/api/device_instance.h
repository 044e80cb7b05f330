#pragma once

#include <memory>

namespace vireo2 {

class Vireo2;

// The process-wide device behind the exports: created by the first export
// that needs it (constructor, then init once), released when the library is
// unloaded.
Vireo2& device();

// True once the device exists (GetInterfaceVersion never creates it).
bool deviceExists();

} // namespace vireo2
