"""Colour functions and library loading, without an instrument."""

import ctypes
import re
import unittest

from tests.support import SOURCE  # sets up the data folder first
import vireo2
from vireo2 import _library

GREY_PERCENT = [50.0] * 31


class ScaleTest(unittest.TestCase):
    def test_the_scale_must_be_named_and_is_honoured(self):
        with self.assertRaises(TypeError):
            vireo2.spectrum_to_lab(GREY_PERCENT)  # no scale: refused, never guessed
        with self.assertRaises(ValueError):
            vireo2.spectrum_to_lab(GREY_PERCENT, scale="percentage")
        as_percent = vireo2.spectrum_to_lab(GREY_PERCENT, scale="percent")
        as_fraction = vireo2.spectrum_to_lab([0.5] * 31, scale="fraction")
        self.assertAlmostEqual(as_percent[0], 76.07, places=2)
        for a, b in zip(as_percent, as_fraction):
            self.assertAlmostEqual(a, b, places=9)

    def test_fractions_mistaken_for_percent_read_near_black(self):
        # What a host gets when it passes the instrument's factors to the C
        # function as if they were percent: the hazard the scale guards.
        mistaken = vireo2.spectrum_to_lab([0.5] * 31, scale="percent")
        self.assertAlmostEqual(mistaken[0], 4.52, places=2)

    def test_many_spectra_in_one_call(self):
        spectra = [[50.0] * 31, [10.0 + i for i in range(31)], [0.1] * 31]
        batch = vireo2.spectra_to_lab(spectra, scale="percent", illuminant="D65/10")
        for spectrum, lab in zip(spectra, batch):
            single = vireo2.spectrum_to_lab(spectrum, scale="percent", illuminant="D65/10")
            for a, b in zip(lab, single):
                self.assertAlmostEqual(a, b, places=10)
        as_fractions = vireo2.spectra_to_lab([[0.5] * 31], scale="fraction")
        self.assertAlmostEqual(as_fractions[0][0], 76.07, places=2)

    def test_spectrum_keeps_both_scales(self):
        spectrum = vireo2.Spectrum.from_percent(GREY_PERCENT)
        self.assertEqual(spectrum.fractions[0], 0.5)
        self.assertEqual(spectrum.percent[30], 50.0)
        self.assertEqual(spectrum.wavelengths[0], 400)
        self.assertEqual(spectrum.wavelengths[-1], 700)
        self.assertEqual(spectrum.lab(), vireo2.Spectrum.from_fractions([0.5] * 31).lab())
        with self.assertRaises(ValueError):
            vireo2.Spectrum.from_percent([50.0] * 30)

    def test_xyz_yxy_and_lch(self):
        white = vireo2.Spectrum.from_percent([100.0] * 31)
        x, y, z = white.xyz("D65/10")
        self.assertAlmostEqual(y, 100.0, delta=0.01)  # table sums, as published
        cx, cy, Y = vireo2.xyz_to_xyy((x, y, z))
        self.assertAlmostEqual(cx, 0.3138, places=3)  # D65, 10 degree white point
        self.assertAlmostEqual(cy, 0.3310, places=3)
        L, C, h = vireo2.lab_to_lch((50.0, 0.0, -10.0))
        self.assertEqual((L, C, h), (50.0, 10.0, 270.0))

    @unittest.skipUnless(__import__("importlib").util.find_spec("numpy"), "numpy is optional")
    def test_numpy_arrays_when_numpy_is_there(self):
        array = vireo2.Spectrum.from_percent(GREY_PERCENT).as_array("percent")
        self.assertEqual(array.shape, (31,))
        self.assertEqual(float(array.sum()), 1550.0)


class DifferenceTest(unittest.TestCase):
    def test_formulas_give_known_values_and_weigh_by_the_reference(self):
        reference, sample = (60.0, 30.0, 20.0), (62.0, 28.0, 25.0)
        self.assertAlmostEqual(vireo2.delta_e(reference, sample, "94"), 3.9509215597, places=9)
        self.assertAlmostEqual(vireo2.delta_e(reference, sample, "cmc"), 4.7758911273, places=9)
        self.assertAlmostEqual(vireo2.delta_e((50, 2.6772, -79.7751), (50, 0, -82.7485), "2000"), 2.0425, places=4)
        self.assertAlmostEqual(vireo2.delta_e((50, 0, 0), (53, 4, 12), "76"), 13.0, places=12)
        self.assertNotAlmostEqual(vireo2.delta_e((50, 30, 0), (50, 40, 0), "94"),
                                  vireo2.delta_e((50, 40, 0), (50, 30, 0), "94"))
        with self.assertRaises(ValueError):
            vireo2.delta_e(reference, sample, "99")

    def test_illuminants_by_name(self):
        self.assertEqual(vireo2.illuminant_index("D50"), 4)
        self.assertEqual(vireo2.illuminant_index("d65/10"), 7)
        self.assertEqual(vireo2.illuminant_index(17), 17)
        self.assertEqual(len(set(vireo2.illuminant_names())), 18)
        for bad in ("D55/2", 18, -1):
            with self.assertRaises(ValueError):
                vireo2.illuminant_index(bad)


class LibraryTest(unittest.TestCase):
    def test_every_export_of_the_headers_has_a_prototype(self):
        declared = set()
        for header in ("vireo2.h", "vireo2_colour.h"):
            text = (SOURCE / "include" / header).read_text()
            declared |= set(re.findall(r"\nVIREO2[A-Z_]*API [^;(]*?[ *](\w+)\(", text))
        self.assertGreater(len(declared), 80)
        self.assertEqual(declared, set(_library.PROTOTYPES))

    def test_a_call_with_a_wrong_argument_fails_in_python(self):
        with self.assertRaises(ctypes.ArgumentError):
            vireo2.library().GetSpectralData("M0", 3)

    def test_a_missing_library_says_where_it_looked(self):
        with self.assertRaises(vireo2.LibraryNotFound) as caught:
            vireo2.load("/nonexistent/libVireo2.so")
        self.assertIn("/nonexistent/libVireo2.so", str(caught.exception))
        self.assertIsInstance(caught.exception, vireo2.Error)


if __name__ == "__main__":
    unittest.main()
