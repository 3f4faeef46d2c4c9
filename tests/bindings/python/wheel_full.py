"""The wheel: made, installed into an environment of its own without a network or a compiler, and used there."""

import glob
import os
import subprocess
import unittest

from support import SOURCES, folder

USE = """
import kravi
with kravi.Writer("new.avi", 64, 48, codec="MJPG") as w:
    w.write(b"picture")
with kravi.open("new.avi") as f:
    print(f.video[0], kravi.verify("new.avi")[0].severity, kravi.__file__)
"""


class Wheel(unittest.TestCase):
    def test_installed_alone(self):
        self.enterContext(folder())
        subprocess.run([os.path.join(SOURCES, "bindings", "python", "make_wheel.sh"), os.environ["KRAVI_LIBRARY"],
                        os.environ["KRAVI_PROGRAM"], "."], check=True, stdout=subprocess.DEVNULL)
        wheels = glob.glob("kravi-*-py3-none-linux_*.whl")
        self.assertEqual(len(wheels), 1, os.listdir("."))
        subprocess.run(["/usr/bin/python3", "-m", "venv", "alone"], check=True)
        bare = {"PATH": os.path.abspath("alone/bin"), "HOME": os.getcwd()}
        subprocess.run(["alone/bin/pip", "install", "--quiet", "--no-index", wheels[0]], env=bare, check=True)
        done = subprocess.run(["alone/bin/python", "-c", USE], env=bare, capture_output=True, check=False)
        self.assertEqual(done.returncode, 0, done.stderr.decode())
        self.assertRegex(done.stdout.decode(), r"^b'picture' note \S+/alone/lib/\S+/kravi/__init__.py$")


if __name__ == "__main__":
    unittest.main()
