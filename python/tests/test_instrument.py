"""The package against vireo2-sim in its own process."""

import unittest

from tests.support import Simulator  # sets up the data folder first
import vireo2


class InstrumentTest(unittest.TestCase):
    def test_measure_reads_every_condition_in_both_scales(self):
        with Simulator("--calibrated") as sim, vireo2.Instrument(tcp=sim.address) as inst:
            self.assertTrue(inst.connected)
            self.assertEqual(inst.calibration_status, 0)
            reading = inst.measure()
            self.assertEqual(reading.conditions, ["M0", "M1", "M2", "M3"])
            lib = vireo2.library()
            for index, name in enumerate(reading.conditions):
                spectrum = reading[name]
                for band in (0, 15, 30):
                    self.assertAlmostEqual(spectrum.fractions[band], lib.GetSpectralData(index, band), places=6)
                    self.assertAlmostEqual(spectrum.percent[band], 100.0 * spectrum.fractions[band], places=9)
            lab = reading.lab("D50/2")
            self.assertEqual(lab["M2"], reading["M2"].lab("D50"))
            self.assertGreater(lab["M2"][0], 20.0)  # percent went in, not fractions
            self.assertEqual(reading.delta_e(reading), {name: 0.0 for name in reading.conditions})
            again = vireo2.Reading.from_dict(reading.to_dict())
            self.assertLess(max(again.delta_e(reading, "2000").values()), 1e-9)
        self.assertFalse(vireo2.library().IsConnected())

    def test_context_disconnects_when_the_block_raises(self):
        with Simulator("--calibrated") as sim:
            with self.assertRaises(KeyError):
                with vireo2.Instrument(tcp=sim.address) as inst:
                    self.assertTrue(inst.connected)
                    raise KeyError("host code failed")
            self.assertFalse(vireo2.library().IsConnected())

    def test_failures_raise_with_the_librarys_code_and_text(self):
        with Simulator("--calibrated") as sim, vireo2.Instrument(tcp=sim.address) as inst:
            with self.assertRaises(vireo2.CommandFailed) as caught:
                inst.execute("setmodel")
            self.assertEqual(caught.exception.code, 20502)
            self.assertEqual(caught.exception.text, "FAILED execute: Missing Arguments")
            self.assertTrue(inst.execute("version"))
            with self.assertRaises(vireo2.SettingsFailed) as caught:
                inst.set_option("no_such_setting", "1")
            self.assertEqual(caught.exception.code, 20495)
            self.assertIn("Connection_Method", inst.available_settings())

    def test_connect_to_nothing_raises_connection_failed(self):
        with Simulator() as sim:
            address = sim.address
        # The simulator has gone: nothing listens there any more.
        inst = vireo2.Instrument(tcp=address, settings={"connection_attempts": "1"})
        with self.assertRaises(vireo2.ConnectionFailed) as caught:
            inst.connect()
        self.assertEqual(caught.exception.code, 20480)
        self.assertTrue(caught.exception.text.startswith("Unable to connect to Vireo2"), caught.exception.text)


if __name__ == "__main__":
    unittest.main()
