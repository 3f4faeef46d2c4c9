"""A recipe: conan create packaging/conan. It builds the sources that it lies in.

Never run by Conan itself, which was not available. The tests run it with a stand-in of what it uses of Conan 2.
"""

import os

from conan import ConanFile
from conan.tools.build import stdcpp_library
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")


class KrRiffUtilsConan(ConanFile):
    name = "krriffutils"
    version = "0.1.0"
    license = "MIT"
    description = "Reads and writes AVI 1.0 / OpenDML 1.02 files, from C++ and from C"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}

    def export_sources(self):
        for pattern in ("CMakeLists.txt", "LICENSE", "README.md", "CHANGELOG.md", "*.cpp", "*.h", "*.cmake", "*.in", "*.list",
                        "bindings/c/CMakeLists.txt", "siblings/CMakeLists.txt", "docs/*", "examples/*"):
            copy(self, pattern, ROOT, self.export_sources_folder, excludes=("build/*", "tests/*"))

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for name in ("KR_BUILD_TESTS", "KR_BUILD_TOOLS", "KR_BUILD_EXAMPLES"):
            toolchain.cache_variables[name] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.set_property("cmake_file_name", "KrRiffUtils")
        libraries = {"KrRiffUtils": "KrRiffUtils::KrRiffUtils", "KrRiffUtilsC": "KrRiffUtils::C"}
        for library, target in libraries.items():
            component = self.cpp_info.components[library]
            component.libs = [library]
            component.set_property("cmake_target_name", target)
            if self.settings.os == "Linux":
                component.system_libs = ["pthread", "dl", "m"]
        if not self.options.shared:
            self.cpp_info.components["KrRiffUtilsC"].requires = ["KrRiffUtils"]
            if library := stdcpp_library(self):  # for hosts in C
                self.cpp_info.components["KrRiffUtils"].system_libs.append(library)
