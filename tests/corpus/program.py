"""Runs Tidra on a corpus, in a home folder of its own."""

import json
import os
import subprocess
import sys
import tempfile
from pathlib import Path

REPOSITORY = Path(__file__).resolve().parents[2]


def fail(sentence):
    sys.exit(f"scripts/corpus: {sentence}")


def say(text):
    print(text, file=sys.stderr, flush=True)


def human(size):
    for unit in ("B", "KB", "MB"):
        if size < 1024:
            return f"{size:.0f} {unit}"
        size /= 1024
    return f"{size:.1f} GB"


def refuse_root(what):
    """Removing is tried out only as a user to whom the machine does not belong."""
    if os.geteuid() == 0:
        fail(f"{what} removes folders, so run it as an ordinary user, not as root.")


class Tidra:
    """A Tidra program with a scratch home folder, so that neither settings nor trash of the user take part."""

    def __init__(self, program):
        self.program = program or self._built()
        if not os.access(self.program, os.X_OK):
            fail(f"{self.program} is not a program; build it with scripts/build or name one with --program.")

    @staticmethod
    def _built():
        if subprocess.run([REPOSITORY / "scripts/build"], stdout=subprocess.DEVNULL).returncode != 0:
            fail("Tidra could not be built; name a program with --program.")
        return REPOSITORY / "build/tidra"

    def run(self, *arguments, home=None):
        """What the program printed on standard output. A status other than 0 ends the script."""
        with tempfile.TemporaryDirectory(prefix="tidra-corpus-home-") as scratch:
            home = home or scratch
            environment = {"HOME": str(home), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "TMPDIR": scratch}
            result = subprocess.run(
                [self.program, *map(str, arguments)], env=environment, cwd=scratch, stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if result.returncode != 0:
            fail(f"tidra {' '.join(map(str, arguments))} ended with status {result.returncode}: {result.stderr.strip()}")
        return result.stdout

    def findings(self, root):
        """Every finding of a scan below the root."""
        return json.loads(self.run("scan", root, "--json", "--no-system", "--quiet"))["items"]

    def selected(self, root, *options):
        """The items that a plan without further choices takes."""
        with tempfile.TemporaryDirectory(prefix="tidra-corpus-plan-") as folder:
            plan = Path(folder, "plan.json")
            self.run("plan", root, "--no-system", "--quiet", "-o", plan, *options)
            return json.loads(plan.read_text(encoding="utf-8", errors="replace"))["items"]
