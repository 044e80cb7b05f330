// Settings, configuration and options.
#include "api/export_frame.h"
#include "vireo2.h"

using namespace vireo2;
using namespace vireo2::api;

extern "C" {

VIREO2_API const char* GetAvailableSettings(void)
{
    return guardedText([] { return device().GetAvailableSettings(); });
}

VIREO2_API const char* GetSettingOptions(const char* name)
{
    return guardedText([name] {
        QString setting;
        return readText(name, "GetSettingOptions", setting) ? device().GetSettingOptions(setting) : QString();
    });
}

VIREO2_API const char* GetOption(const char* name)
{
    return guardedText([name] {
        QString setting;
        return readText(name, "GetOption", setting) ? device().GetOption(setting) : QString();
    });
}

VIREO2_API bool SetOption(const char* name, const char* value)
{
    return guarded(false, [name, value] {
        QString setting, text;
        return readText(name, "SetOption", setting) && readText(value, "SetOption", text) &&
               device().SetOption(setting, text);
    });
}

VIREO2_API const char* GetConfiguration(void)
{
    return guardedText([] { return locked([](Vireo2& d) { return d.GetConfiguration(); }); });
}

VIREO2_API bool SetConfiguration(const char* configuration)
{
    return guarded(false, [configuration] {
        return locked([configuration](Vireo2& d) {
            QString text;
            return readText(configuration, "SetConfiguration", text) && d.SetConfiguration(text);
        });
    });
}

VIREO2_API bool Configure(void)
{
    return guarded(false, [] { return device().Configure(); });
}

VIREO2_API bool SetNormalMode(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.SetNormalMode(); }); });
}

VIREO2_API bool SetOfflineMode(void)
{
    return guarded(false, [] { return locked([](Vireo2& d) { return d.SetOfflineMode(); }); });
}

VIREO2_API bool SetLanguage(int language)
{
    return guarded(false, [language] { return device().SetLanguage(language); });
}

} // extern "C"
