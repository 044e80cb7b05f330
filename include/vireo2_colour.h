/*
 * libVireo2 colorimetry for hosts: reflectance spectra to colour values.
 *
 * Conventions of every function below:
 *  - A spectrum is 31 reflectances in PERCENT (0..100, a white near 90) at
 *    400, 410, ..., 700 nm. The device functions GetSpectralData and
 *    GetSpectralSetData hand out reflectance FACTORS (1.0 = the white
 *    standard): multiply them by 100 first. A factor spectrum passed here
 *    gives colours near black (L* about 4.5 instead of 76 for a light grey).
 *  - L*a*b* triples are CIE L* (0..100), a*, b*; XYZ has Y = 100 for white.
 *  - index selects the illuminant/observer, 0..17, even = 2 degree observer,
 *    odd = 10 degree observer of the same illuminant:
 *    0/1 A, 2/3 C, 4/5 D50, 6/7 D65, 8/9 F2, 10/11 F7, 12/13 F11, 14/15 F12,
 *    16/17 D75.
 *  - Each function returns 1 on success and 0 when a pointer is null, an
 *    index is outside 0..17, an input value is NaN or infinite, or a result
 *    would not be a finite number; on failure nothing is written to the
 *    outputs (Vireo2_SpectraToLab: see there).
 *  - Functions hold no state: callable from any thread, never throw, and
 *    independent of the host's locale.
 */
#ifndef VIREO2_COLOUR_H
#define VIREO2_COLOUR_H

#ifdef __cplusplus
extern "C" {
#endif

#ifndef VIREO2_COLOUR_API
#  if defined(_WIN32)
#    if defined(VIREO2_BUILDING_LIBRARY)
#      define VIREO2_COLOUR_API __declspec(dllexport)
#    else
#      define VIREO2_COLOUR_API __declspec(dllimport)
#    endif
#  else
#    define VIREO2_COLOUR_API __attribute__((visibility("default")))
#  endif
#endif

/** Tristimulus X, Y, Z (Y = 100 for a perfect white) of a percent spectrum
 *  under index. */
VIREO2_COLOUR_API int Vireo2_SpectrumToXYZ(const double spectrum[31], int index, double xyz[3]);

/** CIE 1976 L*, a*, b* of a percent spectrum when hunter is 0, Hunter L, a,
 *  b otherwise. */
VIREO2_COLOUR_API int Vireo2_SpectrumToLab(const double spectrum[31], int index, int hunter, double lab[3]);

/** L, a, b, C, h (hue in degrees, 0..360) of CIE L*a*b* (hunter 0) or Hunter
 *  Lab; an a of exactly 0 is reported as 0.000001 so the hue is defined. */
VIREO2_COLOUR_API int Vireo2_SpectrumToLabCh(const double spectrum[31], int index, int hunter, double lch[5]);

/** Batch form of Vireo2_SpectrumToLab for many readings (CIE L*a*b* only):
 *  `spectra` holds `count` percent spectra of 31 values one after the other,
 *  `lab` receives 3 * count values (L*, a*, b* of spectrum k at 3k). Results
 *  match Vireo2_SpectrumToLab to within 1e-12. count 0 succeeds and writes
 *  nothing; a negative count fails. A spectrum holding NaN or infinity fails
 *  the whole call (0) and sets every value of `lab` to NaN. */
VIREO2_COLOUR_API int Vireo2_SpectraToLab(const double* spectra, int count, int index, double* lab);

/** CIE 1976 L*, a*, b* of X, Y, Z against the white point of index. */
VIREO2_COLOUR_API int Vireo2_XYZToLab(const double xyz[3], int index, double lab[3]);

/** CIE 1976 colour difference (Euclidean distance) of two L*a*b* triples. */
VIREO2_COLOUR_API int Vireo2_DeltaE76(const double lab1[3], const double lab2[3], double* de);

/** CIEDE2000 colour difference (kL = kC = kH = 1) of two L*a*b* triples. */
VIREO2_COLOUR_API int Vireo2_DeltaE2000(const double lab1[3], const double lab2[3], double* de);

/** CIE94 colour difference of sample against reference (not symmetric: the
 *  weights use the reference's chroma). textiles 0: graphic arts (kL 1,
 *  K1 0.045, K2 0.015); otherwise textiles (kL 2, K1 0.048, K2 0.014). */
VIREO2_COLOUR_API int Vireo2_DeltaE94(const double reference[3], const double sample[3], int textiles,
                                      double* de);

/** CMC(l:c) colour difference of sample against reference (not symmetric);
 *  l = 2, c = 1 is the usual acceptability setting, 1:1 perceptibility.
 *  Fails (0) when l or c is not positive. */
VIREO2_COLOUR_API int Vireo2_DeltaECMC(const double reference[3], const double sample[3], double l, double c,
                                       double* de);

/** Metamerism index: length of the change of the L*a*b* difference
 *  sample - standard from index1 to index2 (0 for a non-metameric pair). */
VIREO2_COLOUR_API int Vireo2_MetamerismIndex(const double standard[31], const double sample[31], int index1,
                                             int index2, double* mi);

/** Kubelka-Munk colour strength of sample against standard (both percent
 *  spectra) in percent, K/S
 *  summed over 420..680 nm (reflectance floored at 4 %), capped at 1000. */
VIREO2_COLOUR_API int Vireo2_StrengthSum(const double standard[31], const double sample[31], double* strength);

/** Writes the zero-terminated name of index, such as "D65/10" or "F12/2",
 *  into buffer; returns 0 also when size is too small for the name and its
 *  terminator (at most 7 bytes are needed). */
VIREO2_COLOUR_API int Vireo2_IlluminantName(int index, char* buffer, int size);

#ifdef __cplusplus
}
#endif

#endif /* VIREO2_COLOUR_H */
