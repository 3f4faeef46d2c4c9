#!/usr/bin/env python3
"""Unpacks the build's package to a separate folder, builds the examples against it alone, and
runs them. Ends with the line "N passed, N failed".
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
TESTS = os.path.dirname(HERE)
EXAMPLES_TEST = os.path.join(TESTS, "examples", "examples_test.py")
START = os.path.join(TESTS, "abi", "ms")


def run(*command, env=None, cwd=None):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env=env, cwd=cwd, timeout=600, check=False)
    text = done.stdout.decode("utf-8", "replace")
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}: {done.returncode}\n{text}")
    return text


def run_examples(programs, launcher=(), env=None):
    text = run(sys.executable, EXAMPLES_TEST, programs, "-", *launcher, env=env)
    if " 0 failed" not in text:
        raise AssertionError(text)


def build_with_cmake(options, package, work, *more):
    """The examples as a separate project, taken from the package."""
    sources = os.path.join(work, "examples")
    shutil.copytree(os.path.join(package, "share", "doc", "KrRiffUtils", "examples"), sources)
    build = os.path.join(work, "build")
    run(options.cmake, "-S", sources, "-B", build, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={package}",
        f"-DCMAKE_CXX_COMPILER={options.compiler}", "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_CXX_FLAGS={options.flags}",
        "-DCMAKE_FIND_PACKAGE_NO_SYSTEM_PACKAGE_REGISTRY=ON", *more)
    run(options.cmake, "--build", build)
    return build


class Linux:
    """The installed tree."""

    def __init__(self, options, work):
        self.options, self.package = options, os.path.join(work, "moved", "package")
        run(options.cmake, "--install", options.build, "--prefix", os.path.join(work, "package"))
        shutil.move(os.path.join(work, "package"), self.package)  # nothing in it may depend on its old path
        self.libraries = os.path.dirname(self.find("libKrRiffUtils.so"))

    def find(self, name):
        for folder, _, files in os.walk(self.package):
            for path in (os.path.join(folder, file) for file in files):
                if path.endswith(os.sep + name):
                    return path
        raise AssertionError(f"{name} is not installed")

    def environment(self, **more):
        return {**os.environ, "LD_LIBRARY_PATH": self.libraries, **more}

    def test_contents(self, _):
        for name in ("bin/kravi", "man/man1/kravi.1", "bash-completion/completions/kravi", "site-functions/_kravi",
                     "vendor_completions.d/kravi.fish", "docs/schemas/kravi-info.schema.json",
                     f"libKrRiffUtils.so.{self.options.version}", "KrRiffUtils.h", "KrFramework.h", "LICENSE", "README.md",
                     "CHANGELOG.md", "file-format.md", "windows-hosts.md", "ReadFrames.cpp"):
            self.find(name)
        version = run(self.find("bin/kravi"), "--version", env=self.environment())
        if self.options.version not in version:
            raise AssertionError(version)

    def test_cmake_consumer(self, work):
        run_examples(build_with_cmake(self.options, self.package, work), env=self.environment())

    def test_pkg_config_consumer(self, work):
        env = self.environment(PKG_CONFIG_PATH=os.path.dirname(self.find("KrRiffUtils.pc")))
        env.pop("PKG_CONFIG_LIBDIR", None)
        if run("pkg-config", "--modversion", "KrRiffUtils", env=env).strip() != self.options.version:
            raise AssertionError("version of pkg-config")
        flags = run("pkg-config", "--cflags", "--libs", "KrRiffUtils", env=env).split()
        for name in ("ReadFrames", "AskScanMode", "Tour"):
            run(self.options.compiler, *self.options.flags.split(), "-std=c++17", self.find(f"{name}.cpp"), *flags, "-o",
                os.path.join(work, name))
        run_examples(work, env=env)


class Windows:
    """The archive."""

    def __init__(self, options, work):
        self.options = options
        name = f"KrRiffUtils-{options.version}-win64"
        run(os.path.join(os.path.dirname(options.cmake), "cpack"), "-B", work, "-G", "ZIP", cwd=options.build)
        run(options.cmake, "-E", "tar", "xf", os.path.join(work, f"{name}.zip"), cwd=work)
        self.package = os.path.join(work, name)

    def path(self, *names):
        path = os.path.join(self.package, *names)
        if not os.path.exists(path):
            raise AssertionError(f"{path} is not in the archive")
        return path

    def test_contents(self, _):
        for name in ("bin/KrRiffUtils.dll", "bin/kravi.exe", "lib/libKrRiffUtils.dll.a", "lib/KrRiffUtils.lib",
                     "include/KrRiffUtils/KrRiffUtils.h", "share/doc/KrRiffUtils/LICENSE",
                     "share/doc/KrRiffUtils/README.md", "share/doc/KrRiffUtils/docs/windows-hosts.md",
                     "share/doc/KrRiffUtils/examples/RecordSamples.cpp"):
            self.path(*name.split("/"))
        version = run(self.options.launcher, self.path("bin", "kravi.exe"), "--version")
        if self.options.version not in version:
            raise AssertionError(version)

    def test_mingw_consumer(self, work):
        build = build_with_cmake(self.options, self.package, work, "-DCMAKE_SYSTEM_NAME=Windows")
        shutil.copy(self.path("bin", "KrRiffUtils.dll"), build)
        run_examples(build, [self.options.launcher])

    def test_import_library_of_each_linker(self, work):
        """The targets of find_package, without a compiler."""
        for is_microsoft, library in (("FALSE", "libKrRiffUtils.dll.a"), ("TRUE", "KrRiffUtils.lib")):
            with open(os.path.join(work, "CMakeLists.txt"), "w", encoding="utf-8") as file:
                file.write(f"""cmake_minimum_required(VERSION 3.16)
project(Asks LANGUAGES NONE)
set(MSVC {is_microsoft})
find_package(KrRiffUtils REQUIRED)
get_target_property(library KrRiffUtils::KrRiffUtils IMPORTED_IMPLIB_RELEASE)
file(WRITE answer ${{library}})
""")
            run(self.options.cmake, "-S", work, "-B", os.path.join(work, is_microsoft),
                f"-DCMAKE_PREFIX_PATH={self.package}")
            with open(os.path.join(work, "answer"), encoding="utf-8") as file:
                answer = file.read()
            if not answer.endswith("/lib/" + library) or not os.path.exists(answer):
                raise AssertionError(answer)

    def test_microsoft_consumer(self, work):
        """Microsoft's ABI, by clang and lld, against KrRiffUtils.lib."""
        runtime = os.path.join(work, "msvcrt.lib")
        run(self.options.librarian, "/nologo", "/machine:x64", f"/def:{START}/msvcrt.def", f"/out:{runtime}")
        kernel = run(self.options.compiler, "-print-file-name=libkernel32.a").strip()
        clang = [self.options.clang, "--target=x86_64-pc-windows-msvc", "-std=c++17", "-O2", "-ffreestanding",
                 "-fno-exceptions", "-fno-rtti", "-isystem", os.path.join(START, "include"), "-DKR_WIDE_MAIN"]
        start = os.path.join(work, "Start.obj")
        run(*clang, "-c", os.path.join(START, "Start.cpp"), "-o", start)
        for name in ("ReadFrames", "AskScanMode"):
            example = os.path.join(work, f"{name}.obj")
            run(*clang, "-I", self.path("include"), "-c",
                self.path("share", "doc", "KrRiffUtils", "examples", f"{name}.cpp"), "-o", example)
            run(self.options.linker, "/nologo", "/subsystem:console", "/entry:KrStart", "/nodefaultlib",
                f"/out:{os.path.join(work, name)}.exe", example, start, self.path("lib", "KrRiffUtils.lib"), runtime,
                kernel)
        shutil.copy(self.path("bin", "KrRiffUtils.dll"), work)
        run_examples(work, [self.options.launcher])


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("build", "cmake", "compiler", "version"):
        parser.add_argument(f"--{name}", required=True)
    for name in ("flags", "clang", "linker", "librarian", "launcher"):
        parser.add_argument(f"--{name}", default="")
    parser.add_argument("--windows", action="store_true")
    options = parser.parse_args([argument for argument in sys.argv[1:] if argument])
    passed = failed = 0
    with tempfile.TemporaryDirectory(prefix="package-test-") as folder:
        package = (Windows if options.windows else Linux)(options, folder)
        for name in sorted(name for name in dir(package) if name.startswith("test_")):
            work = os.path.join(folder, name)
            os.mkdir(work)
            try:
                getattr(package, name)(work)
                passed += 1
            except Exception:  # any error fails this case alone
                failed += 1
                print(f"FAILED {name}")
                traceback.print_exc(file=sys.stdout)
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
