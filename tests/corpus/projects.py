"""The projects that `scripts/corpus recall` builds: small ones, each with the tools that its folders come from.

Two thirds stand in git with the .gitignore that the tool's own starter writes; the others have neither.
"""

from __future__ import annotations

import json
from dataclasses import dataclass, field


@dataclass
class Project:
    name: str
    needs: str  # required programs, separated by spaces; the project is skipped without them
    build: list  # commands that make the artefacts, as in the restore hints
    files: dict = field(default_factory=dict)
    make: list = field(default_factory=list)  # commands that make sources, before the commit
    ignore: str | None = None  # the .gitignore of a project in git; absent: without git
    copy_of: str | None = None  # a built project whose files were copied
    unpacked: bool = False  # … or unpacked from an archive instead


def package(**content):
    return json.dumps({"name": "corpus", "version": "1.0.0", "private": True, **content}, indent=2)


NODE = "node_modules\n"
VITE = "logs\n*.log\nnode_modules\ndist\ndist-ssr\n*.local\n"
PYTHON = "__pycache__/\n*.py[cod]\nbuild/\ndist/\n.tox/\n.coverage\n.pytest_cache/\n.mypy_cache/\n.venv\nvenv/\n"
VENDOR = "/vendor/\n"
MODULE = "export const greet = (name) => `Hello, ${name}`;\n"
MAIN = 'import { greet } from "./greet.js";\nconsole.log(greet("you"));\n'
PAGE = '<!doctype html><div id="app"></div><script type="module" src="./main.js"></script>\n'
CARGO = '[package]\nname = "{0}"\nversion = "0.1.0"\nedition = "2021"\n'
HELLO_RUST = 'fn main() { println!("hello"); }\n'
HAND_WRITTEN = {"src/build/steps.js": "export const steps = [];\n", "src/vendor/own.js": "export const own = 1;\n"}
VITE_FILES = {"index.html": PAGE, "main.js": MAIN, "greet.js": MODULE}


def npm(name, build, files, ignore=NODE, install="npm install --no-audit --no-fund", **rest):
    return Project(name, "npm", [install, *build], files, ignore=ignore, **rest)


JAVASCRIPT = [
    npm("npm-express", [], {"package.json": package(dependencies={"express": "4"})}, ignore=None),
    npm("npm-typescript", ["npx tsc"], {
        "package.json": package(devDependencies={"typescript": "5"}), "src/main.ts": "export const one: number = 1;\n",
        "tsconfig.json": '{"compilerOptions": {"outDir": "dist", "rootDir": "src"}, "include": ["src"]}\n',
        **HAND_WRITTEN}, ignore="node_modules\ndist\n"),
    npm("npm-typescript-loose", ["npx tsc"], {
        "package.json": package(scripts={"build": "tsc"}, devDependencies={"typescript": "5"}),
        "src/main.ts": "export const one: number = 1;\n",
        "tsconfig.json": '{"compilerOptions": {"outDir": "dist", "rootDir": "src"}, "include": ["src"]}\n'}, ignore=None),
    npm("npm-workspaces", ["npm run build --workspaces"], {
        "package.json": package(workspaces=["packages/*"], devDependencies={"esbuild": "0.21"}),
        **{f"packages/{one}/{file}": text for one in ("core", "web") for file, text in {
            "package.json": json.dumps({"name": one, "version": "1.0.0", "scripts": {
                "build": "esbuild main.js --bundle --outfile=dist/main.js"}, "dependencies": {"ms": "2"}}),
            "main.js": MAIN, "greet.js": MODULE}.items()}}, ignore="node_modules\ndist\n"),
    npm("yarn-classic", ["npx rollup main.js --file dist/main.js"], {
        "package.json": package(dependencies={"lodash": "4"}, devDependencies={"rollup": "3"}, type="module"),
        "main.js": MAIN, "greet.js": MODULE}, ignore="node_modules\ndist\n", install="yarn install --silent"),
    npm("yarn-classic-loose", [], {"package.json": package(dependencies={"lodash": "4", "react": "18"})}, ignore=None,
        install="yarn install --silent"),
    npm("yarn-berry", [], {
        "package.json": package(dependencies={"lodash": "4", "chalk": "5"}),
        ".yarnrc.yml": "nodeLinker: node-modules\nenableTelemetry: false\nenableImmutableInstalls: false\n", "yarn.lock": ""},
        ignore=".yarn/*\nnode_modules\n", install="yarn-berry install"),
    npm("pnpm", ["npx esbuild main.js --bundle --outfile=dist/main.js"], {
        "package.json": package(dependencies={"lodash": "4"}, devDependencies={"esbuild": "0.21"}), "main.js": MAIN,
        "greet.js": MODULE}, ignore="node_modules\ndist\n", install="pnpm install"),
    npm("pnpm-loose", [], {"package.json": package(dependencies={"express": "4"})}, ignore=None, install="pnpm install"),
    npm("pnpm-workspace", ["pnpm -r run build"], {
        "package.json": package(), "pnpm-workspace.yaml": "packages:\n  - packages/*\n",
        **{f"packages/{one}/{file}": text for one in ("core", "web") for file, text in {
            "package.json": json.dumps({"name": one, "version": "1.0.0", "dependencies": {"ms": "2"},
                                        "scripts": {"build": "node build.js"}}),
            "build.js": 'require("fs").mkdirSync("dist", {recursive: true}); '
                        'require("fs").writeFileSync("dist/main.js", "1");\n'}.items()}},
        ignore="node_modules\ndist\n", install="pnpm install"),
    npm("bun", ["bun build main.js --outdir=dist"], {
        "package.json": package(dependencies={"lodash": "4"}), "main.js": MAIN, "greet.js": MODULE},
        ignore="node_modules\ndist\n", install="bun install"),
    npm("bun-loose", [], {"package.json": package(dependencies={"express": "4"})}, ignore=None, install="bun install"),
    npm("next", ["npx next build"], {
        "package.json": package(dependencies={"next": "14", "react": "18", "react-dom": "18"}),
        "app/layout.js": "export default function Layout({ children }) { return <html><body>{children}</body></html>; }\n",
        "app/page.js": "export default function Page() { return <p>Hello</p>; }\n"},
        ignore="/node_modules\n/coverage\n/.next/\n/out/\n/build\n"),
    npm("nuxt", ["npx nuxi build"], {
        "package.json": package(dependencies={"nuxt": "3.13.2", "vue": "3.5.12"}, type="module"),
        "nuxt.config.ts": "export default defineNuxtConfig({ telemetry: false })\n",
        "app.vue": "<template><p>Hello</p></template>\n"}, ignore=".output\n.data\n.nuxt\n.nitro\n.cache\ndist\nnode_modules\n"),
    npm("vite", ["npx vite build"], {"package.json": package(devDependencies={"vite": "5"}), **VITE_FILES}, ignore=VITE),
    npm("vite-loose", ["npx vite build"], {"package.json": package(devDependencies={"vite": "5"}), **VITE_FILES},
        ignore=None),
    npm("vite-build-folder", ["npx vite build --outDir build"], {
        "package.json": package(scripts={"build": "vite build --outDir build"}, devDependencies={"vite": "5"}),
        **VITE_FILES, **HAND_WRITTEN}, ignore="node_modules\n/build\n"),
    npm("vite-vue", ["npm run build"], {}, ignore=VITE, make=["npm create -y vite@5 . -- --template vue"]),
    npm("vite-react", ["npm run build"], {}, ignore=VITE, make=["npm create -y vite@5 . -- --template react"]),
    npm("vite-svelte", ["npm run build"], {}, ignore=VITE, make=["npm create -y vite@5 . -- --template svelte"]),
    npm("sveltekit", ["npx vite build"], {
        "package.json": package(type="module", devDependencies={
            "@sveltejs/kit": "2.7.0", "@sveltejs/adapter-static": "3.0.5", "@sveltejs/vite-plugin-svelte": "3.1.2",
            "svelte": "4", "vite": "5"}),
        "vite.config.js": 'import { sveltekit } from "@sveltejs/kit/vite";\nexport default { plugins: [sveltekit()] };\n',
        "svelte.config.js": 'import adapter from "@sveltejs/adapter-static";\n'
                            'export default { kit: { adapter: adapter({ fallback: "index.html" }) } };\n',
        "src/app.html": "<!doctype html><head>%sveltekit.head%</head><body>%sveltekit.body%</body>\n",
        "src/routes/+page.svelte": "<p>Hello</p>\n"}, ignore="node_modules\n/build\n/.svelte-kit\n"),
    npm("angular", ["npx ng build", "npx ng cache enable"], {}, install="npm install --no-audit --no-fund",
        ignore="/dist\n/tmp\n/out-tsc\n/node_modules\n/.angular/cache\n.sass-cache/\n/coverage\n", make=[
            "npx -y @angular/cli@18 new corpus --directory . --defaults --skip-git --skip-install --skip-tests --ssr=false"]),
    npm("parcel", ["npx parcel build index.html"], {
        "package.json": package(devDependencies={"parcel": "2.12.0"}), **VITE_FILES},
        ignore="node_modules\ndist\n.parcel-cache\n"),
    npm("turbo", ["npx turbo run build --no-daemon"], {
        "package.json": package(workspaces=["packages/*"], devDependencies={"turbo": "2"}, packageManager="npm@10.0.0"),
        "turbo.json": '{"tasks": {"build": {"outputs": ["dist/**"]}}}\n',
        "packages/core/package.json": json.dumps({"name": "core", "version": "1.0.0", "scripts": {"build": "node build.js"}}),
        "packages/core/build.js": 'require("fs").mkdirSync("dist", {recursive: true}); '
                                  'require("fs").writeFileSync("dist/main.js", "1");\n'},
        ignore="node_modules\n.turbo\ndist\ncoverage\n"),
    npm("nx", ["npx nx run-many -t build"], {
        "package.json": package(workspaces=["packages/*"], devDependencies={"nx": "19.8.9"}),
        "nx.json": '{"targetDefaults": {"build": {"cache": true, "outputs": ["{projectRoot}/dist"]}}, "analytics": false}\n',
        "packages/core/package.json": json.dumps({"name": "core", "version": "1.0.0", "scripts": {"build": "node build.js"}}),
        "packages/core/build.js": 'require("fs").mkdirSync("dist", {recursive: true}); '
                                  'require("fs").writeFileSync("dist/main.js", "1");\n'},
        ignore="dist\ntmp\n/out-tsc\nnode_modules\n.nx/cache\n.nx/workspace-data\n"),
    npm("webpack", ["npx webpack --mode production --entry ./main.js"], {
        "package.json": package(devDependencies={"webpack": "5", "webpack-cli": "5"}, type="module"),
        "main.js": MAIN, "greet.js": MODULE}, ignore="node_modules\ndist\n"),
    npm("jest", ["npx jest --coverage"], {
        "package.json": package(devDependencies={"jest": "29"}), "sum.js": "module.exports = (a, b) => a + b;\n",
        "sum.test.js": 'test("sum", () => expect(require("./sum")(1, 2)).toBe(3));\n'}, ignore="node_modules\ncoverage\n"),
    npm("mocha-c8-loose", ["npx c8 --reporter=lcov mocha"], {
        "package.json": package(devDependencies={"mocha": "10", "c8": "10"}),
        "test/sum.js": 'it("adds", () => require("assert").equal(1 + 2, 3));\n'}, ignore=None),
]

COMPILED = [
    Project("cargo", "cargo", ["cargo build --offline"], {
        "Cargo.toml": CARGO.format("single"), "src/main.rs": HELLO_RUST}, ignore="/target\n"),
    Project("cargo-workspace", "cargo", ["cargo build --offline", "cargo test --offline --no-run"], {
        "Cargo.toml": '[workspace]\nmembers = ["one", "two"]\nresolver = "2"\n',
        "one/Cargo.toml": CARGO.format("one"), "one/src/lib.rs": "pub fn one() -> u8 { 1 }\n",
        "two/Cargo.toml": CARGO.format("two") + '[dependencies]\none = { path = "../one" }\n',
        "two/src/main.rs": 'fn main() { println!("{}", one::one()); }\n'}, ignore="/target\n"),
    Project("cargo-build-script", "cargo", ["cargo build --offline --release --examples"], {
        "Cargo.toml": CARGO.format("scripted"), "src/main.rs": HELLO_RUST, "examples/example.rs": HELLO_RUST,
        "build.rs": 'fn main() { println!("cargo:rerun-if-changed=build.rs"); }\n'}, ignore="/target\nCargo.lock\n"),
    Project("cargo-loose", "cargo", ["cargo build --offline"], {
        "Cargo.toml": CARGO.format("loose"), "src/main.rs": HELLO_RUST}),
    Project("go-vendor", "go", ["go mod vendor", "go build -mod=vendor -o corpus"], {
        "go.mod": "module example.com/main\n\ngo 1.19\n\nrequire example.com/lib v0.0.0\n\nreplace example.com/lib => ./lib\n",
        "main.go": 'package main\n\nimport "example.com/lib"\n\nfunc main() { println(lib.One()) }\n',
        "lib/go.mod": "module example.com/lib\n\ngo 1.19\n",
        "lib/lib.go": "package lib\n\nfunc One() int { return 1 }\n"}, ignore="/vendor/\n/corpus\n"),
    Project("maven", "mvn", ["mvn -q -o -Dmaven.repo.local=/usr/share/maven-repo package"], {
        "pom.xml": """<project xmlns="http://maven.apache.org/POM/4.0.0"><modelVersion>4.0.0</modelVersion>
<groupId>example</groupId><artifactId>corpus</artifactId><version>1</version>
<properties><maven.compiler.source>11</maven.compiler.source><maven.compiler.target>11</maven.compiler.target>
<project.build.sourceEncoding>UTF-8</project.build.sourceEncoding><maven.test.skip>true</maven.test.skip></properties>
</project>
""", "src/main/java/Main.java": "public class Main { public static void main(String[] a) {} }\n"}, ignore="target/\n"),
    Project("gradle", "gradle", ["gradle --offline --no-daemon -q build"], {
        "build.gradle": 'apply plugin: "java"\n', "settings.gradle": 'rootProject.name = "corpus"\n',
        "src/main/java/Main.java": "public class Main { public static void main(String[] a) {} }\n"},
        ignore=".gradle\nbuild\n"),
    Project("gradle-loose", "gradle", ["gradle --offline --no-daemon -q build"], {
        "build.gradle": 'apply plugin: "java"\n', "settings.gradle": 'rootProject.name = "corpus"\n',
        "src/main/java/Main.java": "public class Main { public static void main(String[] a) {} }\n"}),
    Project("cmake", "cmake cc", ["cmake -S . -B build", "cmake --build build"], {
        "CMakeLists.txt": "cmake_minimum_required(VERSION 3.22)\nproject(corpus C)\nadd_executable(corpus main.c)\n",
        "main.c": "int main(void) { return 0; }\n"}, ignore="build/\n"),
    Project("cmake-loose", "cmake cc", ["cmake -S . -B build", "cmake --build build"], {
        "CMakeLists.txt": "cmake_minimum_required(VERSION 3.22)\nproject(corpus C)\nadd_executable(corpus main.c)\n",
        "main.c": "int main(void) { return 0; }\n"}),
    Project("meson-loose", "meson ninja cc", ["meson setup build", "ninja -C build"], {
        "meson.build": "project('corpus', 'c')\nexecutable('corpus', 'main.c')\n", "main.c": "int main(void) { return 0; }\n"}),
]

INTERPRETED = [
    Project("composer", "composer", ["composer install --quiet"], {
        "composer.json": json.dumps({"name": "example/main", "require": {"example/lib": "*"}, "repositories": [
            {"packagist.org": False}, {"type": "path", "url": "lib", "options": {"symlink": False}}]}),
        "lib/composer.json": '{"name": "example/lib", "version": "1.0.0"}\n', "lib/lib.php": "<?php\n"}, ignore=VENDOR),
    Project("composer-loose", "composer", ["composer install --quiet"], {
        "composer.json": json.dumps({"name": "example/main", "require": {"example/lib": "*"}, "repositories": [
            {"packagist.org": False}, {"type": "path", "url": "lib", "options": {"symlink": False}}]}),
        "lib/composer.json": '{"name": "example/lib", "version": "1.0.0"}\n', "lib/lib.php": "<?php\n"}),
    Project("bundler", "bundle gem", ["bundle config set --local path vendor/bundle", "bundle install --quiet"], {
        "Gemfile": 'source "file://#{__dir__}/source"\ngem "corpus"\n',
        "gem/corpus.gemspec": 'Gem::Specification.new { |s| s.name = "corpus"; s.version = "1.0"; s.summary = "s"; '
                              's.authors = ["a"]; s.files = ["lib/corpus.rb"] }\n', "gem/lib/corpus.rb": "CORPUS = 1\n"},
        make=["mkdir -p source/gems && cd gem && gem build -q corpus.gemspec -o ../source/gems/corpus-1.0.gem",
              "gem generate_index --quiet -d source"], ignore="/.bundle/\n/vendor/bundle\n"),
    Project("venv-dot", "python3", ["python3 -m venv .venv"], {"requirements.txt": "\n", "app.py": "print(1)\n"}, ignore=PYTHON),
    Project("venv-loose", "python3", ["python3 -m venv venv", "python3 -c 'import app'"], {
        "requirements.txt": "\n", "app.py": "x = 1\n"}),
    Project("tox", "tox", ["tox -q --sitepackages"], {
        "tox.ini": "[tox]\nskipsdist = true\nenvlist = py3\n[testenv]\ncommands = python -c 'import app'\n",
        "app.py": "x = 1\n"}, ignore=PYTHON),
    Project("poetry", "poetry", ["poetry -q install"], {
        "pyproject.toml": '[tool.poetry]\nname = "corpus"\nversion = "1"\ndescription = ""\nauthors = []\n'
                          '[tool.poetry.dependencies]\npython = "*"\n', "poetry.toml": "[virtualenvs]\nin-project = true\n",
        "corpus/__init__.py": ""}, ignore=PYTHON),
    Project("pytest", "pytest-3", ["pytest-3 -q"], {
        "app/__init__.py": "", "app/sums.py": "def add(a, b):\n    return a + b\n",
        "tests/test_sums.py": "from app.sums import add\n\ndef test_add():\n    assert add(1, 2) == 3\n", "conftest.py": ""},
        ignore=PYTHON),
    Project("pytest-loose", "pytest-3", ["pytest-3 -q"], {"test_it.py": "def test_it():\n    assert True\n"}),
    Project("mypy", "mypy", ["mypy app.py"], {"app.py": "x: int = 1\n", "mypy.ini": "[mypy]\n"}, ignore=PYTHON),
]

BUILT = JAVASCRIPT + COMPILED + INTERPRETED


def moved(name, original, unpacked=False):
    """A built project that came to another place, all of it."""
    project = next(project for project in BUILT if project.name == original)
    return Project(name, project.needs, project.build, copy_of=original, unpacked=unpacked)


MOVED = [moved("npm-copied", "npm-express"), moved("bun-copied", "bun-loose"), moved("venv-copied", "venv-loose"),
         moved("pytest-copied", "pytest-loose"), moved("vite-unpacked", "vite-loose", unpacked=True),
         moved("typescript-unpacked", "npm-typescript-loose", unpacked=True),
         moved("cargo-unpacked", "cargo-loose", unpacked=True), moved("gradle-unpacked", "gradle-loose", unpacked=True),
         moved("composer-unpacked", "composer-loose", unpacked=True)]

PROJECTS = BUILT + MOVED
