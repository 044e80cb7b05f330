#pragma once

#include <QString>
#include <stdexcept>

namespace vireo2::test {

// Loads a private copy of the built libVireo2.so the way a host does: copied
// into `directory` (next to the host's own "spectro.ini"), then dlopen'ed.
class LoadedLibrary {
public:
    explicit LoadedLibrary(const QString& directory);
    ~LoadedLibrary();

    QString path() const { return path_; }

    template <typename Fn>
    Fn get(const char* name) const
    {
        return reinterpret_cast<Fn>(symbol(name));
    }

    // Calls export `name` with `args`, its type given as a function type.
    template <typename Signature, typename... Args>
    auto call(const char* name, Args... args) const
    {
        return get<Signature*>(name)(args...);
    }

private:
    void* symbol(const char* name) const;

    QString path_;
    void* handle_ = nullptr;
};

} // namespace vireo2::test
