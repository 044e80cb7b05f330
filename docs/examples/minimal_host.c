/*
 * minimal_host.c - a complete libVireo2 host in C.
 *
 * Connects, calibrates when the instrument asks for it, takes one reading
 * and prints every measurement condition's reflectance spectrum with its
 * CIE L*a*b* under D50/2, then disconnects. Any failure prints the library's
 * error code and text and ends with exit status 1.
 *
 * Build (from the project root, after ./scripts/setup.sh):
 *   cc docs/examples/minimal_host.c -Iinclude -Lbuild/lib -lVireo2 \
 *      -Wl,-rpath,$PWD/build/lib -o minimal_host
 * Run against the simulator (started with: build/bin/vireo2 sim --port 60001):
 *   ./minimal_host 127.0.0.1:60001
 * Without an argument the connection stored in the library's settings is used.
 */
#include <stdio.h>
#include <string.h>

#include "vireo2.h"
#include "vireo2_colour.h"

#define WAVELENGTHS 31
#define D50_2 4 /* illuminant/observer index of the colour functions */

static int fail(const char* what)
{
    /* Both calls read the library's error record; copy nothing, print at once. */
    int code = GetLastErrorCode();
    fprintf(stderr, "%s failed: error %d: %s\n", what, code, GetLastErrorString());
    return 1;
}

/* Prints one measurement condition: its spectrum in percent and L*a*b*. */
static int print_condition(int set)
{
    char name[8];
    double spectrum[WAVELENGTHS];
    double lab[3];
    int i;

    /* Returned text lives in a library buffer until the next text call: copy. */
    strncpy(name, GetSpectralSetName(set), sizeof name - 1);
    name[sizeof name - 1] = '\0';

    for (i = 0; i < WAVELENGTHS; ++i) {
        float factor = GetSpectralData(set, i); /* 1.0 = the white standard */
        if (factor < 0.0f)
            return fail("GetSpectralData");
        spectrum[i] = factor * 100.0; /* the colour functions take percent */
    }
    if (!Vireo2_SpectrumToLab(spectrum, D50_2, 0, lab)) {
        fprintf(stderr, "Vireo2_SpectrumToLab failed\n");
        return 1;
    }

    printf("%s  L* %6.2f  a* %6.2f  b* %6.2f\n", name, lab[0], lab[1], lab[2]);
    for (i = 0; i < WAVELENGTHS; ++i) {
        if (i % 8 == 0)
            printf("    %d nm:", GetWavelengthValue(i));
        printf(" %5.1f", spectrum[i]);
        if (i % 8 == 7 || i == WAVELENGTHS - 1)
            printf("\n");
    }
    return 0;
}

static int measure_and_print(void)
{
    int set, sets;

    if (GetCalStatus() != 0) {
        printf("Calibrating (the instrument must sit on its white standard)...\n");
        if (!Calibrate())
            return fail("Calibrate");
    }
    if (!Measure())
        return fail("Measure");
    if (GetWavelengthCount() != WAVELENGTHS) {
        fprintf(stderr, "unexpected number of wavelengths: %d\n", GetWavelengthCount());
        return 1;
    }

    sets = GetSpectralSetCount();
    printf("Serial %s, %d measurement conditions, reflectance in %%:\n", GetSerialNum(), sets);
    for (set = 0; set < sets; ++set) {
        if (print_condition(set) != 0)
            return 1;
    }
    return 0;
}

int main(int argc, char** argv)
{
    int status;

    if (argc > 1) {
        /* "HOST:PORT" of an instrument or simulator on the network. The
         * settings are stored, so later runs may leave the argument out. */
        if (!SetOption("connection_method", "TCP") || !SetOption("device_ip_address", argv[1]))
            return fail("SetOption");
    }

    if (!Connect())
        return fail("Connect");
    status = measure_and_print();
    Disconnect();
    return status;
}
