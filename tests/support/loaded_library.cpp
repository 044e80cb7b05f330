#include "loaded_library.h"

#include <QFile>
#include <dlfcn.h>

namespace vireo2::test {

LoadedLibrary::LoadedLibrary(const QString& directory)
    : path_(directory + QStringLiteral("/libVireo2.so"))
{
    QFile::remove(path_);
    if (!QFile::copy(QStringLiteral(VIREO2_LIBRARY_FILE), path_))
        throw std::runtime_error("cannot copy the library to the test directory");
    handle_ = dlopen(path_.toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    if (!handle_)
        throw std::runtime_error(dlerror());
}

LoadedLibrary::~LoadedLibrary()
{
    // Left loaded: unloading runs the device's teardown, which the process
    // exit does as well; tests that check unloading call dlclose themselves.
}

void* LoadedLibrary::symbol(const char* name) const
{
    void* address = dlsym(handle_, name);
    if (!address)
        throw std::runtime_error(std::string("missing export ") + name);
    return address;
}

} // namespace vireo2::test
