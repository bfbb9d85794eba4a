"""What share of the bytes that tools have made a default selection takes, on projects that were really built."""

import json
import os
import shutil
import signal
import subprocess
import tarfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from program import Tidra, fail, human, refuse_root, say
from projects import PROJECTS

LEAST_SHARE = 0.97
BUILD_TIMEOUT = 900  # seconds per command
BUILDS_AT_ONCE = 6  # they mostly wait for the registry and the disk
# A finished deployable is a result, not a leftover: its contents were put there for shipping.
DEPLOYABLES = {".output"}
TOOLS = {"yarn": "yarn@1", "pnpm": "pnpm@9", "bun": "bun", "berry": "@yarnpkg/cli-dist@4"}


class Workshop:
    """Builds projects with a home folder and tools of its own, so that a cache folder holds everything."""

    def __init__(self, cache):
        self.home = cache / "home"
        self.projects = cache / "projects"
        self.sources = cache / "sources"  # the folders of each project before it was built
        self.tools = cache / "tools"
        for folder in (self.home, self.projects, self.sources, self.tools / "bin"):
            folder.mkdir(parents=True, exist_ok=True)
        self.environment = {
            **{name: value for name, value in os.environ.items() if not name.startswith(("CI", "npm_", "GIT_"))},
            "HOME": str(self.home), "PATH": f"{self.tools}/bin:{self.tools}/node_modules/.bin:{os.environ['PATH']}",
            "NEXT_TELEMETRY_DISABLED": "1", "NUXT_TELEMETRY_DISABLED": "1", "NG_CLI_ANALYTICS": "false",
            "TURBO_TELEMETRY_DISABLED": "1", "npm_config_update_notifier": "false",
            "NX_DAEMON": "false", "NX_ISOLATE_PLUGINS": "false",  # its processes would outlive the build
            "GIT_CONFIG_NOSYSTEM": "1", "VIRTUALENV_NO_DOWNLOAD": "1", "CARGO_NET_OFFLINE": "true", "GOPROXY": "off",
            "PYTHON_KEYRING_BACKEND": "keyring.backends.null.Keyring"}

    def install_tools(self):
        if shutil.which("npm") and not (self.tools / "node_modules/.bin/yarn").exists():
            say("Installing yarn, pnpm and bun from the npm registry…")
            self.run(self.tools, f"npm install --no-audit --no-fund --prefix . {' '.join(TOOLS.values())}")
        # Both generations of yarn have the same program name.
        classic, berry = self.tools / "bin/yarn", self.tools / "bin/yarn-berry"
        for program, script in ((classic, "yarn/bin/yarn.js"), (berry, "@yarnpkg/cli-dist/bin/yarn.js")):
            program.write_text(f'#!/bin/sh\nexec node "{self.tools}/node_modules/{script}" "$@"\n', encoding="ascii")
            program.chmod(0o755)

    def run(self, folder, command):
        """None when the command succeeded, what it printed last otherwise."""
        process = subprocess.Popen(["sh", "-c", command], cwd=folder, env=self.environment, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            printed, _ = process.communicate(timeout=BUILD_TIMEOUT)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)  # the process group: children would go on writing
            process.communicate()
            return f"{command}: not done within {BUILD_TIMEOUT} seconds"
        if process.returncode == 0:
            return None
        return f"{command}: " + printed.decode("utf-8", "replace").strip()[-600:]

    def run_all(self, folder, commands):
        return next((failure for failure in (self.run(folder, command) for command in commands) if failure), None)

    def prepare(self, project, folder):
        """Sources, and what git knows of them."""
        for name, text in project.files.items():
            path = folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        failure = self.run_all(folder, project.make)
        if failure or project.ignore is None:
            return failure
        (folder / ".gitignore").write_text(project.ignore, encoding="ascii")
        return self.run(folder, "git init -q . && git add -A && "
                                "git -c user.name=corpus -c user.email=corpus@localhost commit -qm Sources")

    def build(self, project):
        """Builds it unless it is there; why it could not be, if so."""
        target = self.projects / project.name
        if target.exists():
            return None
        missing = [tool for tool in project.needs.split() if not shutil.which(tool, path=self.environment["PATH"])]
        if missing:
            return f"{missing[0]} is not installed"
        say(f"Building {project.name}…")
        # Build at the final path: environments and build trees contain it.
        unfinished = self.unfinished(project)
        unfinished.touch()
        failure = self.build_in(target, project)
        if failure:
            shutil.rmtree(target, ignore_errors=True)
        unfinished.unlink()
        return failure

    def build_in(self, target, project):
        if project.copy_of:
            return self.copy(project, target)
        target.mkdir()
        failure = self.prepare(project, target)
        if failure:
            return failure
        self.sources.joinpath(f"{project.name}.json").write_text(json.dumps(sorted(folders_below(target))))
        return self.run_all(target, project.build)

    def copy(self, project, target):
        original = self.projects / project.copy_of
        if not original.exists():
            return f"{project.copy_of} is not there"
        if project.unpacked:
            archive = target.with_suffix(".tar")
            with tarfile.open(archive, "w") as writer:
                writer.add(original, target.name)
            with tarfile.open(archive) as reader:
                reader.extractall(target.parent)
            archive.unlink()
        else:
            subprocess.run(["cp", "-a", original, target], check=True)
        shutil.copy(self.sources / f"{project.copy_of}.json", self.sources / f"{project.name}.json")
        return None

    def unfinished(self, project):
        """A mark that is there while the project is being built."""
        return self.projects / f".{project.name}.unfinished"

    def discard_unfinished(self):
        for mark in self.projects.glob(".*.unfinished"):
            shutil.rmtree(self.projects / mark.name[1:-len(".unfinished")], ignore_errors=True)
            mark.unlink()


def folders_below(root):
    return [os.path.relpath(os.path.join(parent, name), root) for parent, names, _ in os.walk(root) for name in names]


def size_of(folder):
    """Bytes of the regular files, each counted once."""
    seen, total = set(), 0
    for parent, _, names in os.walk(folder):
        for name in names:
            status = os.lstat(os.path.join(parent, name))
            if os.path.islink(os.path.join(parent, name)) or (status.st_dev, status.st_ino) in seen:
                continue
            seen.add((status.st_dev, status.st_ino))
            total += status.st_size
    return total


def safe_names(tidra):
    """The folder names that a rule calls safe wherever they are."""
    rules = json.loads(tidra.run("rules", "export"))["projectRules"]
    return {rule["folderName"] for rule in rules if rule.get("tier", "safe") == "safe" and not rule.get("requireMarker")
            and not rule.get("parentName")}


def made_by_tools(folder, sources, names):
    """The outermost folders with such a name that were not among the sources."""
    made = []
    for parent, children, _ in os.walk(folder):
        for child in list(children):
            path = os.path.join(parent, child)
            if child == ".git" or child in DEPLOYABLES:
                children.remove(child)
            elif child in names and os.path.relpath(path, folder) not in sources and not os.path.islink(path):
                made.append(path)
                children.remove(child)
    return made


class Recall:
    def __init__(self, cache, program, wanted):
        refuse_root("Building a project runs the code of foreign packages, and trying out a removal")
        unknown = set(wanted) - {project.name for project in PROJECTS}
        if unknown:
            fail(f"There is no project {', '.join(sorted(unknown))} in tests/corpus/projects.py.")
        self.projects = [project for project in PROJECTS if not wanted or project.name in wanted]
        self.cache = cache
        self.workshop = Workshop(cache)
        self.tidra = Tidra(program)
        self.names = safe_names(self.tidra)

    def built(self, only_built):
        """The projects that stand there, after those that are missing were built unless only_built."""
        if only_built:
            return [project for project in self.projects if (self.workshop.projects / project.name).exists()
                    and not self.workshop.unfinished(project).exists()]
        self.workshop.discard_unfinished()
        self.workshop.install_tools()
        left_out = set()

        def build(project):
            failure = self.workshop.build(project)
            if failure:
                say(f"{project.name} is left out: {failure}")
                left_out.add(project.name)

        for copies in (False, True):  # a copy needs its original
            with ThreadPoolExecutor(BUILDS_AT_ONCE) as pool:
                list(pool.map(build, (project for project in self.projects if bool(project.copy_of) == copies)))
        return [project for project in self.projects if project.name not in left_out]

    def made(self, project, folder):
        sources = set(json.loads((self.workshop.sources / f"{project.name}.json").read_text()))
        return made_by_tools(folder, sources, self.names)

    def measure(self, built):
        """Prints the shares; true when the overall one is high enough and nothing hand-written is selected."""
        selected = {item["path"] for item in self.tidra.selected(self.workshop.projects)}
        total = taken = folders = 0
        wrong = []
        for project in built:
            folder = self.workshop.projects / project.name
            made = {path: size_of(path) for path in self.made(project, folder)}
            here = sum(made.values())
            here_taken = sum(size for path, size in made.items() if path in selected)
            total, taken, folders = total + here, taken + here_taken, folders + len(made)
            left = [f"{os.path.relpath(path, folder)} ({human(size)})" for path, size in made.items() if path not in selected]
            print(f"{project.name:24}{human(here):>9}{100 * here_taken / here if here else 100:6.0f} %  "
                  f"{', '.join(['left:', *left]) if left else ''}".rstrip())
            wrong += [path for path in selected if path.startswith(f"{folder}/") and path not in made]
        for path in sorted(wrong):
            print(f"Made by no tool, and selected: {os.path.relpath(path, self.workshop.projects)}")
        share = taken / total if total else 0
        print(f"{len(built)} projects: {human(total)} in {folders} folders made by tools, {100 * share:.1f} % of it selected by default; at least "
              f"{100 * LEAST_SHARE:.0f} % should be.")
        return share >= LEAST_SHARE and not wrong

    def rebuild(self, built):
        """Builds each project once more elsewhere, cleans that one and builds it again; true when every one has its artefacts
        back. A copy would not do: it lacks some of the evidence."""
        failed = []
        for project in built:
            second = self.cache / "rebuilt" / project.name
            shutil.rmtree(second, ignore_errors=True)
            second.parent.mkdir(exist_ok=True)
            failure = self.workshop.build_in(second, project)
            before = {os.path.relpath(path, second) for path in self.made(project, second)}
            self.tidra.run("clean", second, "--no-system", "--yes", "--method", "delete", "--quiet")
            left = len(self.made(project, second))
            failure = failure or self.workshop.run_all(second, project.build)
            lost = before - {os.path.relpath(path, second) for path in self.made(project, second)}
            if not failure and lost:
                failure = f"not there again: {', '.join(sorted(lost))}"
            print(f"{project.name:24}{len(before) - left:>4} of {len(before)} folders removed, "
                  f"{failure or 'built again'}", flush=True)
            failed += [project.name] if failure else []
            shutil.rmtree(second)
        print(f"Built again: all but {len(failed)}{': ' if failed else ''}{', '.join(failed)}.")
        return not failed
