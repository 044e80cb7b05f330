// Connection, errors and the interface version.
#include "api/export_frame.h"
#include "vireo2.h"

using namespace vireo2;
using namespace vireo2::api;

extern "C" {

VIREO2_API const char* GetInterfaceVersion(void)
{
    return "1.2";
}

VIREO2_API int GetLastErrorCode(void)
{
    return guarded(-1, [] { return int(device().log()->errorCode()); });
}

VIREO2_API const char* GetLastErrorString(void)
{
    return guardedText([] { return QString::fromLatin1(device().log()->errorText()); });
}

VIREO2_API bool Connect(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.Connect(); }); });
}

VIREO2_API bool Disconnect(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.Disconnect(); }); });
}

VIREO2_API bool IsConnected(void)
{
    return guarded(false, [] { return device().IsConnected(); });
}

// The compatibility switch "serialnum" shortens the serial to the six
// characters from index 7, as older hosts expect.
VIREO2_API const char* GetSerialNum(void)
{
    return guardedText([] {
        return locked([](Vireo2& d) {
            QString serial = d.serialNumber();
            const int compatible = d.settings().compatibility->with([](QSettings& s) {
                s.beginGroup(QStringLiteral("[Configuration]"));
                const int value = s.value(QStringLiteral("serialnum"), 0).toInt();
                s.endGroup();
                return value;
            });
            if (compatible != 0)
                serial = serial.mid(7, 6);
            return serial;
        });
    });
}

} // extern "C"
