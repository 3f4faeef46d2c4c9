#!/usr/bin/env python3
"""Checks the files of debian/ and packaging/ without building a package:
recipes_test.py SOURCES BUILD CMAKE EXPORTS EXPORTS_C. With --debian it also builds the Debian packages, which lintian must
accept, and a host of each interface against what they contain, opens a file from Python, and does the same on a fresh system, where apt
installs them. Ends with the line "N passed, N failed".
"""

import ast
import fnmatch
import glob
import json
import os
import re
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
from package_test import HOST, run, run_cases, write  # pylint: disable=wrong-import-position


class Recipes:
    def __init__(self, sources, build, cmake, exports, exports_c):
        self.sources, self.build, self.cmake = sources, build, cmake
        self.exports = {"libkrriffutils0.1": exports, "libkrriffutilsc0.1": exports_c}
        header = self.read("include/KrRiffUtils/KrVersion.h")
        self.version = ".".join(re.search(rf"VERSION_{part} (\d+)", header)[1] for part in ("MAJOR", "MINOR", "PATCH"))

    def read(self, path):
        with open(os.path.join(self.sources, path), encoding="utf-8") as file:
            return file.read()

    def need(self, condition, what):
        if not condition:
            raise AssertionError(what)

    def test_versions(self):
        """All of them are that of the header, and the names of packages have its first two numbers."""
        changelog = re.match(r"krriffutils \(([^)]+)\)", self.read("debian/changelog"))[1]
        vcpkg = json.loads(self.read("packaging/vcpkg/vcpkg.json"))["version"]
        conan = re.search(r'^    version = "(.*)"$', self.read("packaging/conan/conanfile.py"), re.MULTILINE)[1]
        python = re.search(r'^__version__ = "(.*)"$', self.read("bindings/python/kravi/__init__.py"), re.MULTILINE)[1]
        self.need({changelog, vcpkg, conan, python} == {self.version}, f"{changelog}, {vcpkg}, {conan}, {python}, {self.version}")
        abi = ".".join(self.version.split(".")[:2])
        for package in re.findall(r"^Package: (libkrriffutilsc?\d.*)$", self.read("debian/control"), re.MULTILINE):
            self.need(package.endswith(abi), package)

    def test_options_and_targets(self):
        """Those that recipes name exist."""
        lists = self.read("CMakeLists.txt")
        for path in ("debian/rules", "packaging/vcpkg/portfile.cmake", "packaging/conan/conanfile.py"):
            options = set(re.findall(r"(?:-D|\b)(KR_[A-Z_]+)", self.read(path)))
            missing = [option for option in options if f"option({option} " not in lists]
            self.need(options and not missing, f"{path}: {missing}")
        ast.parse(self.read("packaging/conan/conanfile.py"))
        libraries = self.read("cmake/KrLibrary.cmake") + self.read("bindings/c/CMakeLists.txt")
        targets = re.findall(r"KrRiffUtils::\w+", self.read("packaging/conan/conanfile.py"))
        self.need(len(targets) == 2 and all(f"add_library({target} ALIAS" in libraries for target in targets), targets)

    def test_debian_files(self):
        """Each pattern of an .install file finds a file, and each installed file belongs to one package."""
        with tempfile.TemporaryDirectory(prefix="recipes-test-") as folder:
            run(self.cmake, "--install", self.build, "--prefix", os.path.join(folder, "usr"))
            files = [os.path.relpath(os.path.join(place, name), folder) for place, _, names in os.walk(folder) for name in names]
        files = [file.replace("/doc/KrRiffUtils/", "/doc/libkrriffutils-dev/") for file in files]
        files = [re.sub(r"^usr/lib/(?!x86_64)", "usr/lib/triplet/", file) for file in files]
        owners = {file: 0 for file in files if not file.endswith("/LICENSE")}
        for path in glob.glob(os.path.join(self.sources, "debian", "*.install")):
            for line in self.read(path).splitlines():
                pattern = line.split()[0]
                found = [file for file in owners if fnmatch.fnmatch(file, pattern) or fnmatch.fnmatch(file, pattern + "/*")]
                self.need(found, f"{path}: {pattern} finds nothing")
                for file in found:
                    owners[file] += 1
        wrong = [file for file, count in owners.items() if count != 1]
        self.need(not wrong, f"in no package or in two: {wrong}")

    def test_symbols(self):
        for package, exports in self.exports.items():
            listed = self.read(f"debian/{package}.symbols").splitlines()[1:]
            with open(exports, encoding="utf-8") as file:
                names = {name.split("@@")[0] for name in file.read().split()}
            if package.endswith("c0.1"):
                self.need(set(listed) == {f" (symver){name} {self.version}" for name in names if name.startswith("KRRIFF")}, listed)
            else:
                self.need({line.split("@")[0].strip() for line in listed} == names, listed)

    def debian_test_packages(self):
        """Built, accepted by lintian, unpacked, and used by a host of each interface."""
        run(os.path.join(self.sources, "scripts", "package.sh"), "--debian", cwd=self.sources)
        packages = glob.glob(os.path.join(self.sources, "build", "packages", "*.deb"))
        with tempfile.TemporaryDirectory(prefix="debian-test-") as folder:
            for package in packages:
                if "dbgsym" not in package:
                    run("dpkg-deb", "-x", package, folder)
            pc = glob.glob(os.path.join(folder, "usr/lib/*/pkgconfig"))[0]
            env = {**os.environ, "PKG_CONFIG_PATH": pc, "LD_LIBRARY_PATH": os.path.dirname(pc)}
            write(folder, "host.cpp", HOST)
            for name, command in (("KrRiffUtils", ["c++", "host.cpp"]),
                                  ("KrRiffUtilsC", ["cc", os.path.join(self.sources, "examples", "ClipInC.c")])):
                flags = run("pkg-config", "--cflags", "--libs", name, env=env).split()
                run(*command, *flags, "-o", "host", cwd=folder)
                run(os.path.join(folder, "host"), "clip.avi", env=env, cwd=folder)
            text = run(os.path.join(folder, "usr/bin/kravi"), "info", "clip.avi", cwd=folder)
            self.need("64 x 48" in text, text)
            env["PYTHONPATH"] = os.path.join(folder, "usr/lib/python3/dist-packages")
            text = run("/usr/bin/python3", "-c", "import kravi; print(len(kravi.open('clip.avi').video))", env=env, cwd=folder)
            self.need(text == "10\n", text)

    def debian_test_packages_on_a_fresh_system(self):
        text = run(os.path.join(self.sources, "scripts", "fresh.sh"), cwd=self.sources)
        self.need(re.search(r"^1[0-9] passed, 0 failed$", text, re.MULTILINE), text)


def main(arguments):
    prefixes = ("test_", "debian_test_") if "--debian" in arguments else ("test_",)
    recipes = Recipes(*(argument for argument in arguments if argument and argument != "--debian"))
    return run_cases(recipes, prefixes, lambda name: getattr(recipes, name)())


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
