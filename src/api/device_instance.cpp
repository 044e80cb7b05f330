#include "api/device_instance.h"

#include <mutex>

#include "device/vireo2.h"

namespace vireo2 {

namespace {

std::shared_ptr<Vireo2>& instance()
{
    // Held by a plain static so that it is released at library unload.
    static std::shared_ptr<Vireo2> device;
    return device;
}

std::once_flag& creation()
{
    static std::once_flag flag;
    return flag;
}

} // namespace

Vireo2& device()
{
    // call_once makes a first call from several threads at once harmless.
    std::call_once(creation(), [] {
        auto created = std::make_shared<Vireo2>();
        instance() = created;
        created->init();
    });
    return *instance();
}

bool deviceExists()
{
    return instance() != nullptr;
}

} // namespace vireo2
