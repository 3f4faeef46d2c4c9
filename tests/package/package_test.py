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

# A project that adds the library, with targets of its own that have common names.
PARENT = """cmake_minimum_required(VERSION 3.25)
project(Parent LANGUAGES CXX)
foreach(name api tests examples package_test)
  add_custom_target(${name})
endforeach()
add_executable(Tour host.cpp)
add_subdirectory("@SOURCES@" library)
target_link_libraries(Tour PRIVATE KrRiffUtils::KrRiffUtils)
install(TARGETS Tour)
add_library(Own EXCLUDE_FROM_ALL host.cpp) # static, unless this project wants it otherwise
get_target_property(type Own TYPE)
if(NOT type STREQUAL "STATIC_LIBRARY")
  message(FATAL_ERROR "the library changed what this project builds: ${type}")
endif()
get_property(ours DIRECTORY "@SOURCES@" PROPERTY SUBDIRECTORIES)
get_property(targets DIRECTORY "@SOURCES@" PROPERTY BUILDSYSTEM_TARGETS)
foreach(folder IN LISTS ours)
  get_property(more DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  list(APPEND targets ${more})
endforeach()
file(WRITE "${CMAKE_BINARY_DIR}/targets" "${targets}")
"""

HOST = """#include <KrRiffUtils/KrRiffUtils.h>
#include <cstdio>
int main()
{
    IKrRiffReader* reader = nullptr;
    if (KrCreateRiffReader(&reader) == 0)
        return 1;
    reader->Release();
    std::printf("%d\\n", KR_RIFF_UTILS_VERSION);
}
"""

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


def write(folder, name, text):
    with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
        file.write(text)


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
        f"-DCMAKE_CXX_COMPILER={options.compiler}", f"-DCMAKE_C_COMPILER={options.ccompiler}",
        "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_CXX_FLAGS={options.flags}",
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

    def find(self, name, place=None):
        for folder, _, files in os.walk(place or self.package):
            for path in (os.path.join(folder, file) for file in files):
                if path.endswith(os.sep + name):
                    return path
        raise AssertionError(f"{name} is not installed")

    def environment(self, **more):
        return {**os.environ, "LD_LIBRARY_PATH": self.libraries, **more}

    def test_contents(self, _):
        for name in ("bin/kravi", "man/man1/kravi.1", "bash-completion/completions/kravi", "site-functions/_kravi",
                     "vendor_completions.d/kravi.fish", "docs/schemas/kravi-info.schema.json",
                     f"libKrRiffUtils.so.{self.options.version}", f"libKrRiffUtilsC.so.{self.options.version}", "KrRiffUtils.h", "kr_riff.h", "KrFramework.h", "LICENSE", "README.md",
                     "CHANGELOG.md", "file-format.md", "windows-hosts.md", "ReadFrames.cpp"):
            self.find(name)
        version = run(self.find("bin/kravi"), "--version", env=self.environment())
        if self.options.version not in version:
            raise AssertionError(version)

    def test_c_consumers(self, work):
        """One that has nothing of C++, by find_package and by pkg-config."""
        source = self.find("ClipInC.c")
        write(work, "CMakeLists.txt", f"""cmake_minimum_required(VERSION 3.16)
project(Host LANGUAGES C)
find_package(KrRiffUtils REQUIRED COMPONENTS C)
add_executable(Host {source})
target_link_libraries(Host PRIVATE KrRiffUtils::C)
""")
        build = os.path.join(work, "build")
        run(self.options.cmake, "-S", work, "-B", build, f"-DCMAKE_PREFIX_PATH={self.package}")
        run(self.options.cmake, "--build", build)
        env = self.environment(PKG_CONFIG_PATH=os.path.dirname(self.find("KrRiffUtilsC.pc")))
        flags = run("pkg-config", "--cflags", "--libs", "KrRiffUtilsC", env=env).split()
        run("cc", "-std=c11", source, *flags, "-o", os.path.join(work, "host"))
        for host in (os.path.join(build, "Host"), os.path.join(work, "host")):
            if "frame 9: 9216 bytes of 9" not in run(host, os.path.join(work, "clip.avi"), env=env):
                raise AssertionError(host)
            needed = run("ldd", host, env=env)
            if "libKrRiffUtilsC.so" not in needed or "libKrRiffUtils.so" in needed:
                raise AssertionError(needed)

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


    def find_package(self, work, arguments, then=""):
        """Configures a project that has only find_package(KrRiffUtils ARGUMENTS)."""
        write(work, "CMakeLists.txt", f"""cmake_minimum_required(VERSION 3.16)
project(Asks LANGUAGES CXX)
find_package(KrRiffUtils {arguments})
{then}
""")
        run(self.options.cmake, "-S", work, "-B", os.path.join(work, "build"), f"-DCMAKE_PREFIX_PATH={self.package}",
            f"-DCMAKE_CXX_COMPILER={self.options.compiler}", "-DKrRiffUtils_DIR=")

    def test_versions(self, work):
        major, minor, patch = (int(number) for number in self.options.version.split("."))
        self.find_package(work, f"{major}.{minor} REQUIRED")
        self.find_package(work, f"{self.options.version} EXACT REQUIRED")
        for wrong in (f"{major}.{minor + 1}", f"{major + 1}.0", f"{major}.{minor}.{patch + 1}"):
            self.find_package(work, f"{wrong} QUIET", 'if(KrRiffUtils_FOUND)\n  message(FATAL_ERROR "found")\nendif()')

    def test_components(self, work):
        self.find_package(work, "REQUIRED COMPONENTS Tools",
                          "get_target_property(kravi KrRiffUtils::kravi LOCATION)\nfile(WRITE kravi ${kravi})")
        with open(os.path.join(work, "kravi"), encoding="utf-8") as file:
            if self.options.version not in run(file.read(), "--version"):
                raise AssertionError("KrRiffUtils::kravi")
        found = 'if(KrRiffUtils_FOUND)\n  message(FATAL_ERROR "found")\nendif()'
        self.find_package(work, "QUIET COMPONENTS Sound", found)
        kravi = self.find("bin/kravi")
        os.rename(kravi, kravi + ".hidden")  # a package of its own, which is not installed
        try:
            self.find_package(work, "REQUIRED")
            self.find_package(work, "QUIET COMPONENTS Tools", found)
        finally:
            os.rename(kravi + ".hidden", kravi)

    def build_parent(self, work, library, *more):
        """Builds and installs a parent project; returns the targets of the library and what was installed."""
        write(work, "CMakeLists.txt", PARENT.replace("@SOURCES@", self.options.sources))
        write(work, "host.cpp", HOST)
        build, prefix = os.path.join(work, "build"), os.path.join(work, "prefix")
        run(self.options.cmake, "-S", work, "-B", build, "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={self.options.compiler}",
            f"-DCMAKE_CXX_FLAGS=-O0 {self.options.flags}", "-DKR_UNITY_BUILD=ON", *more)
        run(self.options.cmake, "--build", build)
        if not os.path.exists(os.path.join(build, "library", library)):
            raise AssertionError(f"{library} was not built")
        if int(run(os.path.join(build, "Tour"))) <= 0:
            raise AssertionError("version")
        run(self.options.cmake, "--install", build, "--prefix", prefix)
        with open(os.path.join(build, "targets"), encoding="utf-8") as file:
            targets = file.read().split(";")
        return targets, sorted(name for _, _, files in os.walk(prefix) for name in files)

    def test_added_to_another_project(self, work):
        targets, installed = self.build_parent(work, "libKrRiffUtils.so")
        if "KrRiffUtils" not in targets or not all(name.startswith("Kr") for name in targets):
            raise AssertionError(f"targets: {targets}")
        if any("Test" in name or "Example" in name for name in targets):
            raise AssertionError(f"more than the library: {targets}")
        if installed != ["Tour"]:
            raise AssertionError(f"installed: {installed}")

    def full_test_static_library_added_and_installed(self, work):
        _, installed = self.build_parent(work, "libKrRiffUtils.a", "-DBUILD_SHARED_LIBS=OFF", "-DKR_INSTALL=ON")
        if "libKrRiffUtils.a" not in installed or "libKrRiffUtils.so" in installed or "Tour" not in installed:
            raise AssertionError(f"installed: {installed}")
        host = os.path.join(work, "host")
        os.mkdir(host)
        write(host, "host.cpp", HOST)
        write(host, "CMakeLists.txt", """cmake_minimum_required(VERSION 3.16)
project(Host LANGUAGES C CXX)
find_package(KrRiffUtils REQUIRED COMPONENTS C)
add_executable(Host host.cpp)
target_link_libraries(Host PRIVATE KrRiffUtils::KrRiffUtils)
add_executable(HostInC """ + os.path.join(self.options.sources, "examples", "ClipInC.c") + """)
target_link_libraries(HostInC PRIVATE KrRiffUtils::C)
""")
        build = os.path.join(host, "build")
        run(self.options.cmake, "-S", host, "-B", build, f"-DCMAKE_PREFIX_PATH={os.path.join(work, 'prefix')}",
            f"-DCMAKE_CXX_FLAGS={self.options.flags}", f"-DCMAKE_CXX_COMPILER={self.options.compiler}")
        run(self.options.cmake, "--build", build)
        run(os.path.join(build, "Host"))
        run(os.path.join(build, "HostInC"), os.path.join(host, "clip.avi"))
        env = {**os.environ, "PKG_CONFIG_PATH": os.path.dirname(self.find("KrRiffUtilsC.pc", os.path.join(work, "prefix")))}
        flags = run("pkg-config", "--cflags", "--libs", "KrRiffUtilsC", env=env).split()
        run("cc", *self.options.flags.split(), self.find("ClipInC.c"), *flags, "-o", os.path.join(host, "by-pkg-config"))
        run(os.path.join(host, "by-pkg-config"), os.path.join(host, "clip.avi"))


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
                     "bin/KrRiffUtilsC.dll", "lib/libKrRiffUtilsC.dll.a", "lib/KrRiffUtilsC.lib", "include/KrRiffUtils/kr_riff.h",
                     "include/KrRiffUtils/KrRiffUtils.h", "share/doc/KrRiffUtils/LICENSE",
                     "share/doc/KrRiffUtils/README.md", "share/doc/KrRiffUtils/docs/windows-hosts.md",
                     "share/doc/KrRiffUtils/examples/RecordSamples.cpp"):
            self.path(*name.split("/"))
        version = run(self.options.launcher, self.path("bin", "kravi.exe"), "--version")
        if self.options.version not in version:
            raise AssertionError(version)

    def test_mingw_consumer(self, work):
        build = build_with_cmake(self.options, self.package, work, "-DCMAKE_SYSTEM_NAME=Windows")
        for library in ("KrRiffUtils.dll", "KrRiffUtilsC.dll"):
            shutil.copy(self.path("bin", library), build)
        run_examples(build, [self.options.launcher])

    def test_import_library_of_each_linker(self, work):
        """The targets of find_package, without a compiler."""
        for target, is_microsoft, library in (
                ("KrRiffUtils", "FALSE", "libKrRiffUtils.dll.a"), ("KrRiffUtils", "TRUE", "KrRiffUtils.lib"),
                ("C", "FALSE", "libKrRiffUtilsC.dll.a"), ("C", "TRUE", "KrRiffUtilsC.lib")):
            with open(os.path.join(work, "CMakeLists.txt"), "w", encoding="utf-8") as file:
                file.write(f"""cmake_minimum_required(VERSION 3.16)
project(Asks LANGUAGES NONE)
set(MSVC {is_microsoft})
find_package(KrRiffUtils REQUIRED)
get_target_property(library KrRiffUtils::{target} IMPORTED_IMPLIB_RELEASE)
file(WRITE answer ${{library}})
""")
            run(self.options.cmake, "-S", work, "-B", os.path.join(work, target + is_microsoft),
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
        self.link_in_c(work, runtime, kernel)
        for library in ("KrRiffUtils.dll", "KrRiffUtilsC.dll"):
            shutil.copy(self.path("bin", library), work)
        run_examples(work, [self.options.launcher])

    def link_in_c(self, work, runtime, kernel):
        """The example in C, against KrRiffUtilsC.lib."""
        clang = [self.options.clang, "--target=x86_64-pc-windows-msvc", "-O2", "-ffreestanding", "-isystem",
                 os.path.join(START, "include")]
        start, example = os.path.join(work, "StartInC.obj"), os.path.join(work, "ClipInC.obj")
        run(*clang, "-std=c++17", "-fno-exceptions", "-fno-rtti", "-DKR_MAIN_IN_C", "-c", os.path.join(START, "Start.cpp"),
            "-o", start)
        run(*clang, "-x", "c", "-std=c11", "-I", self.path("include"), "-c",
            self.path("share", "doc", "KrRiffUtils", "examples", "ClipInC.c"), "-o", example)
        run(self.options.linker, "/nologo", "/subsystem:console", "/entry:KrStart", "/nodefaultlib",
            f"/out:{os.path.join(work, 'ClipInC')}.exe", example, start, self.path("lib", "KrRiffUtilsC.lib"), runtime, kernel)


def run_cases(owner, prefixes, case):
    """Calls `case` with the name of each method of `owner` that begins so. Returns the exit code of the test."""
    passed = failed = 0
    for name in sorted(name for name in dir(owner) if name.startswith(prefixes)):
        try:
            case(name)
            passed += 1
        except Exception:  # any error fails this case alone
            failed += 1
            print(f"FAILED {name}")
            traceback.print_exc(file=sys.stdout)
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("build", "cmake", "compiler", "ccompiler", "version", "sources"):
        parser.add_argument(f"--{name}", required=True)
    for name in ("flags", "clang", "linker", "librarian", "launcher"):
        parser.add_argument(f"--{name}", default="")
    parser.add_argument("--windows", action="store_true")
    parser.add_argument("--full", action="store_true", help="also the cases that take long")
    options = parser.parse_args([argument for argument in sys.argv[1:] if argument])
    prefixes = ("test_", "full_test_") if options.full else ("test_",)
    with tempfile.TemporaryDirectory(prefix="package-test-") as folder:
        package = (Windows if options.windows else Linux)(options, folder)

        def case(name):
            work = os.path.join(folder, name)
            os.mkdir(work)
            getattr(package, name)(work)

        return run_cases(package, prefixes, case)


if __name__ == "__main__":
    sys.exit(main())
