/* A plain C host: no Qt, no C++ runtime of its own. It proves the header is
 * C and that the library runs in a host that knows nothing about Qt. */
#include <stdio.h>
#include <string.h>

#include "vireo2.h"

static int failures = 0;

static void check(int ok, const char* what)
{
    if (!ok) {
        fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

int main(void)
{
    check(strcmp(GetInterfaceVersion(), "1.2") == 0, "interface version");
    check(sizeof(bool) == 1, "one-byte bool");
    check(!IsConnected(), "not connected");
    check(GetWavelengthCount() == 31, "31 wavelengths");
    check(GetWavelengthValue(30) == 700, "last wavelength 700 nm");
    check(strcmp(GetSpectralSetName(1), "M1") == 0, "set name M1");
    check(GetMaxReferences() == 32000, "reference capacity");
    check(GetSpectralData(0, 0) == -1.0f, "no data yet");
    check(!SetOption(NULL, "x"), "null setting name refused");
    check(GetLastErrorCode() == 20503, "invalid argument recorded");
    if (failures == 0)
        printf("plain C host: all checks passed\n");
    return failures == 0 ? 0 : 1;
}
