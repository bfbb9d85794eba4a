"""A developer's home folder after `tidra clean ~ --yes`: every installed program still runs, every source is there.

Programs stand where their installers put them. Each needs a folder that is named like an artefact of a project. With the
registry npm installs the first ones for real; without it all of them are made here, as shell scripts in the same layout.
"""

import hashlib
import os
import shutil
import subprocess
import tempfile
import traceback
from dataclasses import dataclass, field
from pathlib import Path

from program import Tidra, fail, say

NOBODY = 65534
# Asking the machine's engines and environments would reach beyond the scratch home.
CATEGORIES = "aiTools,agentHost,globalCaches,globalModules"
COMMANDS = ("sh", "cat", "dirname", "readlink", "env", "git", "node", "npm", "sleep")
GREETING = "it runs"


@dataclass
class Program:
    """An executable that reads each of the files beside it, or says with what status it failed."""

    name: str
    folder: str  # of the installation, relative to the home folder
    needs: list  # files that it needs to run, relative to the folder
    beside: dict = field(default_factory=dict)  # other files of the installer
    launcher: str = "bin/run"


def package(name):
    return f'{{"name": "{name}", "version": "1.0.0"}}\n'


NPM_ITSELF = ["lib/node_modules/npm/lib/cli.js", "lib/node_modules/npm/node_modules/semver/index.js"]
NPM_BESIDE = {"lib/node_modules/npm/package.json": package("npm"), "include/node/node.h": "", "bin/node": "#!/bin/sh\n"}


def node_versions(name, folder):
    return Program(name, folder, NPM_ITSELF, NPM_BESIDE)


PROGRAMS = [
    Program("npm's global prefix", ".npm-global", [
        "lib/node_modules/tool/dist/main.js", "lib/node_modules/tool/node_modules/dep/index.js"],
        {"lib/node_modules/tool/package.json": package("tool"), "lib/node_modules/.package-lock.json": "{}\n"}),
    node_versions("Node.js unpacked with npm inside", "node-v20.11.0-linux-x64"),
    node_versions("nvm elsewhere", ".config/nvm/versions/node/v20.11.0"),
    node_versions("nvm", ".nvm/versions/node/v20.11.0"),
    node_versions("fnm", ".local/share/fnm/node-versions/v20.11.0/installation"),
    node_versions("n", "n"),
    node_versions("asdf", ".asdf/installs/nodejs/20.11.0"),
    node_versions("mise", ".local/share/mise/installs/node/20.11.0"),
    node_versions("volta", ".volta/tools/image/node/20.11.0"),
    Program("packages below ~/.local", ".local", ["lib/node_modules/tool/dist/main.js"],
            {"lib/node_modules/tool/package.json": package("tool")}),
    Program("yarn's global folder", ".config/yarn/global", ["node_modules/tool/dist/main.js"],
            {"package.json": '{"dependencies": {"tool": "1"}}\n', "yarn.lock": "", "node_modules/.yarn-integrity": "{}\n",
             "node_modules/tool/package.json": package("tool")}),
    Program("pnpm's global folder", ".local/share/pnpm/global/5", ["node_modules/tool/dist/main.js"],
            {"package.json": '{"dependencies": {"tool": "1"}}\n', "node_modules/.modules.yaml": "{}\n"}),
    Program("bun's global folder", ".bun/install/global", ["node_modules/tool/dist/main.js"],
            {"package.json": '{"dependencies": {"tool": "1"}}\n', "bun.lockb": ""}),
    Program("composer's global folder", ".config/composer", ["vendor/example/tool/main.php", "vendor/autoload.php"],
            {"composer.json": '{"require": {"example/tool": "*"}}\n', "vendor/composer/installed.json": "{}\n"}),
    Program("pipx", ".local/share/pipx/venvs/tool", ["lib/python3.11/site-packages/build/main.py"],
            {"pyvenv.cfg": "home = /usr/bin\n", "pipx_metadata.json": "{}\n",
             "lib/python3.11/site-packages/tool/__pycache__/main.cpython-311.pyc": "x"}),
    Program("pipx, the older place", ".local/pipx/venvs/tool", ["lib/python3.11/site-packages/tool/dist/main.js"],
            {"pyvenv.cfg": "home = /usr/bin\n", "pipx_metadata.json": "{}\n"}),
    Program("uv's tools", ".local/share/uv/tools/tool", ["lib/python3.11/site-packages/build/main.py"],
            {"pyvenv.cfg": "home = /usr/bin\n", "uv-receipt.toml": "[tool]\n"}),
    Program("an Electron program", "apps/Foo", [
        "resources/app/node_modules/dep/index.js", "resources/app/dist/main.js", "resources.pak"],
        {"resources/app/package.json": package("foo"), "chrome_100_percent.pak": "", "libffmpeg.so": ""}, launcher="foo"),
    Program("an Electron program with an archive", "Applications/Bar", [
        "resources/app.asar.unpacked/node_modules/dep/index.js", "resources/app.asar"],
        {"resources.pak": "", "libffmpeg.so": ""}, launcher="bar"),
    Program("an editor's extension", ".vscode/extensions/example.tool-1.0.0", ["dist/main.js", "node_modules/dep/index.js"],
            {"package.json": '{"name": "tool", "publisher": "example", "engines": {"vscode": "^1.80.0"}}\n'}),
    Program("another editor's extension", ".vscode-oss/extensions/example.tool-1.0.0", [
        "dist/main.js", "node_modules/dep/index.js"],
        {"package.json": '{"name": "tool", "publisher": "example", "engines": {"vscode": "^1.80.0"}}\n'}),
    Program("modules below ~/.config", ".config/chat/0.0.42/modules/chat_core-1/chat_core", ["node_modules/dep/index.js"],
            {"package.json": package("chat_core")}),
]

# What a clean may remove: made by tools, in git, ignored.
LEFTOVERS = ["code/mono/node_modules", "code/mono/packages/x/dist", "code/workspace/node_modules",
             "code/workspace/packages/x/node_modules"]
SOURCES = {
    "code/mono": {"package.json": '{"name": "mono", "private": true, "workspaces": ["packages/*"]}\n',
                  "package-lock.json": "{}\n", ".gitignore": "node_modules\ndist\n",
                  "packages/x/package.json": package("x"), "packages/x/src/build/steps.js": "export {};\n"},
    "code/workspace": {"package.json": package("workspace"), "pnpm-workspace.yaml": "packages:\n  - packages/*\n",
                       "pnpm-lock.yaml": "lockfileVersion: 9\npackages:\n  dep@1.0.0: {}\n", ".gitignore": "node_modules\n",
                       "packages/x/package.json": package("x"), "packages/x/index.js": "export {};\n"},
    "code/server": {"Cargo.toml": '[package]\nname = "server"\n', "Cargo.lock": "", "src/main.rs": "fn main() {}\n",
                    ".gitignore": "/target\n"},
    "code/site": {"package.json": package("site"), "pages/[id]/page.js": "export {};\n", ".gitignore": "dist\n",
                  "pages/[id]/dist/kept.js": "export {};\n"},
}
MADE = {"code/mono/node_modules/.package-lock.json": "{}\n", "code/mono/node_modules/dep/index.js": "1\n",
        "code/mono/packages/x/dist/main.js": "1\n", "code/workspace/node_modules/.modules.yaml": "{}\n",
        "code/workspace/node_modules/dep/index.js": "1\n", "code/workspace/packages/x/node_modules/dep/index.js": "1\n",
        "code/server/target/CACHEDIR.TAG": "Signature: 8a477f597d28d172789f06886806bc55\n",
        "code/server/target/.rustc_info.json": "{}\n"}


def write(path, text, mode=0o644):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")
    path.chmod(mode)


class Home:
    def __init__(self, folder, program):
        self.folder = folder / "home"
        self.bin = folder / "bin"
        self.tidra = Tidra(program)
        self.bin.mkdir(parents=True)
        for command in COMMANDS:
            if found := shutil.which(command):
                (self.bin / command).symlink_to(os.path.realpath(found) if command == "sh" else found)
        passed = {name: value for name, value in os.environ.items() if name.endswith(("CA_CERTS", "CERT_FILE", "CERT_DIR"))}
        self.environment = {**passed, "HOME": str(self.folder), "PATH": str(self.bin), "TMPDIR": str(folder)}
        self.faults = []

    def fill(self):
        for program in PROGRAMS:
            root = self.folder / program.folder
            for name in program.needs:
                write(root / name, f"{name}\n")
            for name, text in program.beside.items():
                write(root / name, text)
            reads = "".join(f'cat "{root / name}" >/dev/null || exit 1\n' for name in program.needs)
            write(root / program.launcher, f"#!/bin/sh\n{reads}echo {GREETING}\n", 0o755)
        for project, files in SOURCES.items():
            for name, text in files.items():
                write(self.folder / project / name, text)
            self.call("git", "-C", project, "init", "-q")
            self.call("git", "-C", project, "add", "-A")
            self.call("git", "-C", project, "-c", "user.name=a", "-c", "user.email=a@localhost", "commit", "-qm", "Sources")
        for name, text in MADE.items():
            write(self.folder / name, text)

    def install_from_registry(self):
        """Tools that npm installed itself. Their launchers are npm's own."""
        real = self.folder / "real"
        for prefix, name in ((".npm-global", "cowsay"), ("real-prefix", "npm@10")):
            self.call("npm", "install", "--global", "--no-audit", "--no-fund", "--prefix", self.folder / prefix, name)
        write(real / "package.json", package("real"))
        write(real / ".gitignore", "node_modules\n")
        self.call("npm", "install", "--no-audit", "--no-fund", "--prefix", real, "semver@7")

    def call(self, *arguments, **options):
        result = subprocess.run(list(map(str, arguments)), cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)
        if result.returncode != 0:
            fail(f"{' '.join(map(str, arguments))}: {result.stdout.strip()[-400:]}")
        return result.stdout

    def source_state(self):
        return {path: hashlib.sha256(path.read_bytes()).hexdigest()
                for project, files in SOURCES.items() for path in (self.folder / project / name for name in files)
                if path.exists()}

    def expect(self, holds, sentence):
        if not holds:
            self.faults.append(sentence)

    def run_tidra(self, *arguments):
        """Status and everything printed."""
        result = subprocess.run([self.tidra.program, *arguments], cwd=self.folder, env=self.environment, text=True,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        return result.returncode, result.stdout

    def expect_programs_to_run(self, registry):
        for program in PROGRAMS:
            launcher = self.folder / program.folder / program.launcher
            ran = subprocess.run([launcher], env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) \
                if launcher.exists() else None
            self.expect(ran and ran.stdout.strip() == GREETING, f"{program.name} (~/{program.folder}) no longer runs")
        if registry:
            for tool in ([self.folder / ".npm-global/bin/cowsay", "hello"], [self.folder / "real-prefix/bin/npm", "--version"]):
                ran = subprocess.run(tool, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT) \
                    if tool[0].exists() else None
                self.expect(ran and ran.returncode == 0, f"{tool[0]} no longer runs")

    def clean(self, registry, without):
        """The faults, a sentence each; without some parts ("server", "exclusion") of the home."""
        self.fill()
        if "exclusion" in without:
            shutil.rmtree(self.folder / "code/site")
        if registry:
            self.install_from_registry()
        server = self.folder / "code/server/target/debug/server"
        server.parent.mkdir(parents=True)
        shutil.copy(os.path.realpath(shutil.which("sleep")), server)
        before = self.source_state()
        running = subprocess.Popen([server, "600"], cwd="/", env=self.environment)
        try:
            self.expect_programs_to_run(registry)
            if self.faults:
                fail(f"the home folder is not as it should be at the start: {self.faults[0]}")
            if "exclusion" not in without:
                excluded = str(self.folder / "code/site/pages/[id]")
                self.expect(self.run_tidra("exclude", "add", excluded)[0] == 0, "the exclusion was refused")
            status, printed = self.run_tidra("clean", str(self.folder), "--yes", "--category", CATEGORIES)
            self.expect(status == 0, f"tidra clean ended with status {status}: {printed.strip()[-400:]}")
            self.expect("server" in without or server.exists(), "the running server (~/code/server/target) was removed")
        finally:
            running.kill()
            running.wait()
        self.expect_programs_to_run(registry)
        now = self.source_state()
        for path in before:
            self.expect(now.get(path) == before[path], f"the source {path.relative_to(self.folder)} is gone or changed")
        for leftover in LEFTOVERS + (["real/node_modules"] if registry else []):
            self.expect(not (self.folder / leftover).exists(), f"~/{leftover} was made by a tool and is still there")
        return self.faults


def become_nobody(folder):
    os.chown(folder, NOBODY, NOBODY)
    os.setgroups([])
    os.setgid(NOBODY)
    os.setuid(NOBODY)


def measure(cache, program, registry, without):
    """Prints what is amiss; true when nothing is."""
    cache.mkdir(parents=True, exist_ok=True)
    # An unprivileged user cannot enter every folder that root can.
    with tempfile.TemporaryDirectory(prefix="tidra-home-", dir="/var/tmp" if os.geteuid() == 0 else cache) as scratch:
        folder = Path(scratch)
        # A copy, since the user who runs it may not be able to read the build folder.
        own = folder / "tidra"
        shutil.copy(Tidra(program).program, own)
        work = folder / "work"
        work.mkdir()
        child = os.fork()
        if child == 0:
            status = 1
            try:
                if os.geteuid() == 0:
                    folder.chmod(0o755)
                    become_nobody(work)
                faults = Home(work, own).clean(registry, without)
                for fault in faults:
                    print(fault)
                status = 1 if faults else 0
                print(f"{len(PROGRAMS)} programs: {len(faults)} faults.", flush=True)
            except SystemExit as refused:
                say(refused)
            except Exception:  # nothing above a forked child would print it
                traceback.print_exc()
            finally:
                os._exit(status)
        return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 0
