"""How many hand-written folders a default selection would take.

The corpus is source packages of Debian as they come out of their archives: without version control and without anything
built. Nothing brings back a folder that is removed from them, so nothing in them should be selected.
"""

import os
import shutil
import subprocess
from pathlib import Path

from program import REPOSITORY, Tidra, fail, human, say

LIST = REPOSITORY / "tests/corpus/source-packages.txt"
SUITE = "bookworm"
MIRROR = "http://deb.debian.org/debian"
KEYRING = "/usr/share/keyrings/debian-archive-keyring.gpg"
MOST_SELECTED = 5
PACKAGES_AT_ONCE = 20  # per apt-get call; archives are removed once unpacked, which bounds the disk space too


class SourceArchive:
    """apt-get over a list of sources and a cache of its own; the machine's configuration stays as it is."""

    def __init__(self, cache):
        self.folder = cache / "apt"
        self.archives = self.folder / "archives"
        for needed in (self.folder / "lists/partial", self.folder / "cache/archives/partial", self.archives):
            needed.mkdir(parents=True, exist_ok=True)
        self.sources = self.folder / "sources.list"
        self.sources.write_text(f"deb-src [signed-by={KEYRING}] {MIRROR} {SUITE} main\n", encoding="ascii")

    def _call(self, *arguments):
        settings = {"Dir::Etc::sourcelist": self.sources, "Dir::Etc::sourceparts": "/dev/null",
                    "Dir::State::lists": self.folder / "lists", "Dir::Cache": self.folder / "cache",
                    "APT::Sandbox::User": ""}
        options = [part for name, value in settings.items() for part in ("-o", f"{name}={value}")]
        return subprocess.run(["apt-get", "-q", *options, *arguments], cwd=self.archives, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE, text=True)

    def update(self):
        result = self._call("update")
        if result.returncode != 0:
            fail(f"apt-get could not read the index of source packages: {result.stderr.strip()}")

    def fetch(self, packages):
        """Downloads the packages; their descriptions (.dsc) by name. A version that the mirror no longer has is replaced by
        the one that it has."""
        found = self._download([f"{name}={version}" for name, version in packages])
        missing = [name for name, _ in packages if name not in found]
        if missing:
            say(f"Other versions than listed are taken of: {' '.join(missing)}")
            found |= self._download(missing)
        return found

    def _download(self, wanted):
        if self._call("source", "--download-only", *wanted).returncode != 0:
            for one in wanted:  # a missing one would keep apt-get from fetching the others
                self._call("source", "--download-only", one)
        found = {}
        for description in self.archives.glob("*.dsc"):
            if self._is_complete(description):
                found[description.name.split("_")[0]] = description
        return found

    @staticmethod
    def _is_complete(description):
        text = description.read_text(encoding="utf-8", errors="replace")
        lines = text.partition("\nChecksums-Sha256:\n")[2].splitlines()
        names = [line.split()[2] for line in lines[:next((i for i, l in enumerate(lines) if not l.startswith(" ")), None)]]
        return all((description.parent / name).exists() for name in names)

    def clear(self):
        for archive in self.archives.iterdir():
            archive.unlink()


def listed_packages():
    lines = (line.split("#")[0].strip() for line in LIST.read_text(encoding="ascii").splitlines())
    return [tuple(line.split("=")) for line in lines if line]


def unpack(description, target):
    """Unpacks beside the target and renames, so that a target that is there is whole."""
    partial = target.with_name(f".{target.name}.partial")
    shutil.rmtree(partial, ignore_errors=True)
    result = subprocess.run(["dpkg-source", "--no-check", "--no-copy", "--extract", description, partial], stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        fail(f"dpkg-source could not unpack {description.name}: {result.stderr.strip()}")
    for leftover in partial.rglob(".git"):  # a submodule's .git makes git use what surrounds the corpus
        shutil.rmtree(leftover) if leftover.is_dir() else leftover.unlink()
    partial.rename(target)


def fetch_missing(cache):
    packages = cache / "packages"
    packages.mkdir(parents=True, exist_ok=True)
    missing = [(name, version) for name, version in listed_packages() if not (packages / name).exists()]
    if not missing:
        return packages
    for tool in ("apt-get", "dpkg-source"):
        if not shutil.which(tool):
            fail(f"{tool} is needed to fetch source packages; on Debian install the package dpkg-dev.")
    archive = SourceArchive(cache)
    archive.update()
    for start in range(0, len(missing), PACKAGES_AT_ONCE):
        batch = missing[start:start + PACKAGES_AT_ONCE]
        say(f"Fetching {start + 1} to {start + len(batch)} of {len(missing)} source packages…")
        for name, description in archive.fetch(batch).items():
            if not (packages / name).exists():
                unpack(description, packages / name)
        archive.clear()
    absent = [name for name, _ in missing if not (packages / name).exists()]
    if absent:
        say(f"Not to be had, and left out: {' '.join(absent)}")
    return packages


def measure(cache, program):
    """Prints the figures; true when no more is selected than is allowed."""
    packages = fetch_missing(cache)
    tidra = Tidra(program)
    findings = tidra.findings(packages)
    selected = tidra.selected(packages)
    safe = [finding for finding in findings if finding["tier"] == "safe"]
    print(f"{len(list(packages.glob('[!.]*')))} source packages: {len(findings)} findings, {len(safe)} of them safe "
          f"({human(sum(finding['bytes'] for finding in safe))}), {len(selected)} selected by default "
          f"({human(sum(item['bytes'] for item in selected))}); at most {MOST_SELECTED} may be.")
    for item in sorted(selected, key=lambda item: item["path"]):
        print(f"{human(item['bytes']):>8}  {os.path.relpath(item['path'], packages)}")
    return len(selected) <= MOST_SELECTED
