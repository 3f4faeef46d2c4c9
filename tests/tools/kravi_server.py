"""Runs kravi and the checker of its files within one process: saves most of their start."""

import os
import select
import struct
import subprocess
import tempfile


class Done:
    """As of subprocess.run."""

    def __init__(self, code, stdout, stderr):
        self.returncode, self.stdout, self.stderr = code, stdout, stderr


class Server:
    """`drive` goes before absolute names: those that an emulated program has for ours."""

    def __init__(self, command, drive):
        self.drive = drive
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.outputs = [tempfile.NamedTemporaryFile(prefix="kravi-output-") for _ in ("stdout", "stderr")]

    def run(self, folder, program, arguments, timeout):
        """`program` is "kravi" or "check"."""
        places = [self.drive + place for place in (folder, *(output.name for output in self.outputs))]
        request = b"".join(os.fsencode(field) + b"\0" for field in (*places, program, *arguments))
        self.process.stdin.write(struct.pack("=I", len(request)) + request)
        self.process.stdin.flush()
        if not select.select([self.process.stdout], [], [], timeout)[0]:
            self.process.kill()
            raise subprocess.TimeoutExpired([program, *arguments], timeout)
        code, = struct.unpack("=i", self.process.stdout.read(4))
        return Done(code, *(content(output) for output in self.outputs))


def content(output):
    output.seek(0)
    return output.read()
