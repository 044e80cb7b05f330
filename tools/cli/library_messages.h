#pragma once

namespace vireo2::cli {

// The library writes notices such as "Device Disconnected - PORT DISCONNECT!!."
// to Qt's debug output. A command-line user does not want them between the
// results, so debug and info messages are dropped unless `verbose`; warnings
// and worse always reach stderr.
void filterLibraryMessages(bool verbose);

} // namespace vireo2::cli
