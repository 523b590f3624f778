# A process has one registry for the life of the library, so every case runs
# its registry code in fresh interpreters: `child.run(code)` runs `code` with
# tarnhive imported and REG naming the case's own registry directory, in a
# lock directory of the case's own, and fails the case when the child fails.
import os
import subprocess
import sys
import textwrap

import pytest

PRELUDE = "import json, math, struct, sys, tarnhive\n"


class Child:
    def __init__(self, directory):
        self.directory = directory
        lock = directory / "lock"
        lock.mkdir()
        self.env = dict(os.environ, VESK_TARNHIVE_LOCK_DIR=str(lock), PYTHONDONTWRITEBYTECODE="1")

    def script(self, code, registry):
        return PRELUDE + f"REG = {str(self.directory / registry)!r}\n" + textwrap.dedent(code)

    def run(self, code, registry="reg", check=True):
        result = subprocess.run([sys.executable, "-c", self.script(code, registry)], env=self.env,
                                capture_output=True, text=True, timeout=120)
        if check and result.returncode != 0:
            pytest.fail(f"the child failed ({result.returncode}):\n{result.stderr}")
        return result

    def start(self, code, registry="reg"):
        """The child running in the background, its standard streams piped."""
        return subprocess.Popen([sys.executable, "-c", self.script(code, registry)], env=self.env,
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def tool(self, *args, registry="reg"):
        return subprocess.run([os.environ["TARNHIVE_TOOL"], "-d", str(self.directory / registry),
                               *args], env=self.env, capture_output=True, text=True, timeout=120)


@pytest.fixture
def child(tmp_path):
    return Child(tmp_path)
