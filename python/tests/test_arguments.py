"""What the package refuses at once, and that every failure carries the
error of the call that failed."""

import unittest

from tests.support import Simulator  # sets up the data folder first
import vireo2


class ArgumentTest(unittest.TestCase):
    def test_bad_arguments_raise_before_the_library_sees_them(self):
        stored = vireo2.library().GetOption(b"connection_attempts")
        for kwargs in ({"method": "SERIAL"}, {"tcp": "127.0.0.1:abc"}, {"tcp": "127.0.0.1:70000"},
                       {"tcp": "a:b:c"}, {"tcp": "127.0.0.1:5000", "method": "USB"},
                       {"tcp": "no.such.host.invalid"}, {"settings": {"connection_attempts": 9}},
                       {"settings": {"connection_method": "serial"}},
                       {"settings": {"device_ip_address": "not an address"}}):
            with self.subTest(kwargs=kwargs), self.assertRaises(ValueError):
                vireo2.Instrument(**kwargs)
        for kwargs in ({"tcp": 60001}, {"method": 1}, {"settings": [("connection_attempts", 3)]}):
            with self.subTest(kwargs=kwargs), self.assertRaises(TypeError):
                vireo2.Instrument(**kwargs)
        inst = vireo2.Instrument(tcp="localhost:60001")
        self.assertEqual(inst._settings["device_ip_address"], "127.0.0.1:60001")  # resolved for the library
        for call, error in ((lambda: inst.scan_config(0, 8.0), ValueError), (lambda: inst.scan_config(24, 100.0), ValueError),
                            (lambda: inst.scan_config("24", 8.0), TypeError), (lambda: inst.scan_data(-1), ValueError),
                            (lambda: inst.execute(b"clock get"), TypeError),
                            (lambda: inst.execute('addlibrary;{"name":"Abort"}'), ValueError),
                            (lambda: inst.execute('addjobtemplate;{"name":"x","note":"GetProgress"}'), ValueError),
                            (lambda: inst.set_option("connection_attempts", 0), ValueError)):
            with self.assertRaises(error):
                call()
        self.assertEqual(vireo2.library().GetOption(b"connection_attempts"), stored, "nothing was stored")

    def test_each_failure_carries_its_own_code_and_text(self):
        with Simulator("--calibrated") as sim, vireo2.Instrument(tcp=sim.address) as inst:
            with self.assertRaises(vireo2.CommandFailed) as caught:
                inst.execute("getsignature")
            self.assertEqual(caught.exception.code, 20504)
            # No scan was made: the failure is this call's, not getsignature's.
            with self.assertRaises(vireo2.ScanFailed) as caught:
                inst.scan_data(0, 1)
            self.assertNotIn("Invalid Command", caught.exception.text)
            self.assertNotEqual(caught.exception.code, 20504)
            with self.assertRaises(vireo2.CommandFailed) as caught:
                inst.execute("blah")
            self.assertIn("no value", caught.exception.text)
            self.assertTrue(inst.execute("serialnum get inst"), "an answer with a value passes")

    def test_a_failed_connection_keeps_the_stored_one(self):
        with Simulator("--calibrated") as sim:
            with vireo2.Instrument(tcp=sim.address):
                pass
            with Simulator() as gone:
                address = gone.address
            with self.assertRaises(vireo2.ConnectionFailed):
                vireo2.Instrument(tcp=address, settings={"connection_attempts": "1"}).connect()
            lib = vireo2.library()
            self.assertEqual(lib.GetOption(b"device_ip_address").decode(), sim.address)
            with vireo2.Instrument() as inst:
                self.assertTrue(inst.connected)


if __name__ == "__main__":
    unittest.main()
