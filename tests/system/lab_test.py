"""The lab and the demo, run as people run them, without a terminal.

    lab_test.py TREE BUILD

TREE is this tree, BUILD the folder in which the programs are built already.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

PATIENCE_S = 120


def run(script, *arguments):
    """Gives the exit status of a script, and all that it printed."""
    # The processes of a lab do not see themselves in /proc, which the search for leaks needs.
    environment = dict(os.environ, LC_ALL="C.UTF-8")
    environment["ASAN_OPTIONS"] = environment.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
    # In a network of its own, the port of the lab's gateway is free.
    command = ["unshare", "--net", "--map-root-user", TREE / "scripts" / script, *arguments]
    result = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            timeout=PATIENCE_S, check=False)
    return result.returncode, result.stdout


class Lab(unittest.TestCase):
    def test_ends_with_the_status_of_its_command(self):
        self.assertEqual(run("lab", "--build", BUILD, "--encoders", "1", "--", "sh", "-c",
                             "echo seen; exit 7"), (7, "seen\n"))

    def test_keeps_the_state_of_its_devices(self):
        with tempfile.TemporaryDirectory() as folder:
            state = pathlib.Path(folder) / "home.json"
            small = ("--build", BUILD, "--state", state, "--encoders", "1", "--decoders", "1", "--")
            self.assertEqual(run("lab", *small, "avoipctl", "matrix", "set", "TX-0001", "RX-0001",
                                 "--verify"), (0, "Sent: confirmed.\n"))
            self.assertEqual(run("lab", *small, "avoipctl", "matrix", "get", "RX-0001"),
                             (0, "decoder  RX-0001\nencoder  TX-0001\n"))


class Demo(unittest.TestCase):
    def test_runs_to_its_end_and_names_the_gateway(self):
        status, printed = run("demo", "--gateway", "--build", BUILD)
        self.assertEqual(status, 0, printed)
        self.assertIn("Try next:", printed)
        self.assertIn("http://127.0.0.1:8088/", printed)

    def test_refuses_what_it_does_not_know(self):
        self.assertEqual(run("demo", "--fast")[0], 2)


if __name__ == "__main__":
    TREE, BUILD = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    unittest.main(argv=sys.argv[:1])
