#!/usr/bin/env python3
"""Runs the recipes for vcpkg and Conan with stand-ins of these programs, which are not installed: packagers_test.py SOURCES CMAKE.

The stand-ins have the functions that the recipes call, as their documents describe them. What each recipe installs is used by a host
in C. Ends with the line "N passed, N failed".
"""

import fnmatch
import importlib.util
import os
import shutil
import sys
import tempfile
import types

sys.dont_write_bytecode = True
from package_test import run, run_cases, write  # pylint: disable=wrong-import-position

VCPKG = """cmake_minimum_required(VERSION 3.25)
function(vcpkg_cmake_configure)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "SOURCE_PATH" "OPTIONS")
  execute_process(COMMAND ${CMAKE_COMMAND} -S ${arg_SOURCE_PATH} -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DKR_UNITY_BUILD=ON
    -DCMAKE_INSTALL_PREFIX=${CURRENT_PACKAGES_DIR} -DCMAKE_INSTALL_LIBDIR=lib ${arg_OPTIONS} COMMAND_ERROR_IS_FATAL ANY)
endfunction()
function(vcpkg_cmake_install)
  execute_process(COMMAND ${CMAKE_COMMAND} --build build --target install COMMAND_ERROR_IS_FATAL ANY)
endfunction()
function(vcpkg_cmake_config_fixup)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "PACKAGE_NAME;CONFIG_PATH" "")
  file(GLOB found ${CURRENT_PACKAGES_DIR}/${arg_CONFIG_PATH}/${arg_PACKAGE_NAME}Config.cmake)
  if(NOT found)
    message(FATAL_ERROR "no ${arg_CONFIG_PATH}")
  endif()
endfunction()
function(vcpkg_fixup_pkgconfig)
  file(GLOB found ${CURRENT_PACKAGES_DIR}/lib/pkgconfig/*.pc)
  list(LENGTH found count)
  if(NOT count EQUAL 2)
    message(FATAL_ERROR "pkg-config: ${found}")
  endif()
endfunction()
function(vcpkg_install_copyright)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "FILE_LIST")
  file(INSTALL ${arg_FILE_LIST} DESTINATION ${CURRENT_PACKAGES_DIR}/share/krriffutils)
endfunction()
set(CMAKE_CURRENT_LIST_DIR @SOURCES@/packaging/vcpkg)
include(${CMAKE_CURRENT_LIST_DIR}/portfile.cmake)
"""


def conan_modules(cmake_program):
    """The part of Conan 2 that the recipe names."""
    class CMake:
        def __init__(self, recipe):
            self.recipe = recipe

        def configure(self):
            variables = {**self.recipe.cache_variables, "BUILD_SHARED_LIBS": self.recipe.options.shared, "KR_UNITY_BUILD": True}
            run(cmake_program, "-S", self.recipe.source_folder, "-B", self.recipe.build_folder, "-G", "Ninja",
                "-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_INSTALL_LIBDIR=lib",
                *(f"-D{name}={'ON' if value else 'OFF'}" for name, value in variables.items()))

        def build(self):
            run(cmake_program, "--build", self.recipe.build_folder)

        def install(self):
            run(cmake_program, "--install", self.recipe.build_folder, "--prefix", self.recipe.package_folder)

    class CMakeToolchain:
        def __init__(self, recipe):
            self.recipe, self.cache_variables = recipe, {}

        def generate(self):
            self.recipe.cache_variables = self.cache_variables

    def copy(_, pattern, src, dst, excludes=()):
        for place, folders, names in os.walk(src):
            if os.path.samefile(place, src):
                folders[:] = [folder for folder in folders if folder not in (".git", "build")]
            for name in names:
                path = os.path.relpath(os.path.join(place, name), src)
                if fnmatch.fnmatch(path, pattern) and not any(fnmatch.fnmatch(path, exclude) for exclude in excludes):
                    os.makedirs(os.path.dirname(os.path.join(dst, path)), exist_ok=True)
                    shutil.copy(os.path.join(place, name), os.path.join(dst, path))

    modules = {name: types.ModuleType(name)
               for name in ("conan", "conan.tools", "conan.tools.build", "conan.tools.cmake", "conan.tools.files")}
    modules["conan"].ConanFile = type("ConanFile", (), {})
    cmake = modules["conan.tools.cmake"]
    cmake.CMake, cmake.CMakeToolchain, cmake.cmake_layout = CMake, CMakeToolchain, lambda recipe: None
    modules["conan.tools.build"].stdcpp_library = lambda recipe: "stdc++"
    modules["conan.tools.files"].copy = copy
    return modules


class Component:
    def __init__(self):
        self.libs, self.system_libs, self.requires, self.properties = [], [], [], {}

    def set_property(self, name, value):
        self.properties[name] = value


class Components(dict):
    def __missing__(self, name):
        return self.setdefault(name, Component())


class Packagers:
    def __init__(self, sources, cmake, work):
        self.sources, self.cmake, self.work = os.path.abspath(sources), cmake, work

    def use(self, prefix, *libraries):
        """A host in C against what is in the folder."""
        host, lib = os.path.join(self.work, "host"), os.path.join(prefix, "lib")
        run("cc", os.path.join(self.sources, "examples", "ClipInC.c"), f"-I{prefix}/include", f"-L{lib}",
            *(f"-l{name}" for name in libraries), "-o", host)
        text = run(host, os.path.join(self.work, "clip.avi"), env={**os.environ, "LD_LIBRARY_PATH": lib})
        if "frame 9: 9216 bytes of 9" not in text:
            raise AssertionError(text)

    def test_vcpkg(self):
        write(self.work, "run.cmake", VCPKG.replace("@SOURCES@", self.sources))
        prefix = os.path.join(self.work, "packages")
        run(self.cmake, f"-DCURRENT_PACKAGES_DIR={prefix}", "-P", "run.cmake", cwd=self.work)
        self.use(prefix, "KrRiffUtilsC")
        if not os.path.exists(os.path.join(prefix, "share", "krriffutils", "LICENSE")):
            raise AssertionError("no licence")

    def conan(self, shared):
        sys.modules.update(conan_modules(self.cmake))
        place = os.path.join(self.sources, "packaging", "conan", "conanfile.py")
        spec = importlib.util.spec_from_file_location("conanfile", place)
        module = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(module)
        recipe = module.KrRiffUtilsConan()
        recipe.options = types.SimpleNamespace(shared=shared)
        recipe.settings = types.SimpleNamespace(os="Linux")
        recipe.cpp_info = Component()
        recipe.cpp_info.components = Components()
        for name in ("export_sources", "build", "package"):
            setattr(recipe, f"{name}_folder", os.path.join(self.work, name))
        recipe.source_folder = recipe.export_sources_folder  # and nothing but what was exported
        for step in ("export_sources", "layout", "generate", "build", "package", "package_info"):
            getattr(recipe, step)()
        components, names = recipe.cpp_info.components, ["KrRiffUtilsC"]
        libraries = []
        for name in names:
            names += components[name].requires
            libraries += components[name].libs
        for name in names:
            libraries += components[name].system_libs
        self.use(recipe.package_folder, *libraries)

    def test_conan(self):
        self.conan(True)

    def test_conan_static(self):
        self.conan(False)


def main(arguments):
    def case(name):
        with tempfile.TemporaryDirectory(prefix="packagers-test-") as work:
            getattr(Packagers(*arguments, work), name)()

    return run_cases(Packagers, "test_", case)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
