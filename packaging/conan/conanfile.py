"""Conan 2 recipe of Velmio Configuration: conan create packaging/conan"""

import os

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps


class VelmioConfigurationConan(ConanFile):
    name = "velmio-configuration"
    version = "1.0.0"
    description = "Configuration store of a folder-synchronisation client"
    license = "Apache-2.0"
    topics = ("qt", "sqlite", "settings", "synchronisation")
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {
        "shared": [True, False],
        "fPIC": [True, False],
        "tools": [True, False],
    }
    default_options = {"shared": True, "fPIC": True, "tools": False}
    implements = ["auto_shared_fpic"]

    def export_sources(self):
        root = os.path.join(self.recipe_folder, "..", "..")
        for pattern in ("CMakeLists.txt", "LICENSE", "cmake/*", "packaging/debian/*", "src/*", "tools/*"):
            copy(self, pattern, root, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def requirements(self):
        # Qt's types are in our headers.
        self.requires("qt/[>=6.4 <7]", transitive_headers=True)
        self.requires("libsodium/[>=1.0.18 <2]")
        self.requires("sqlite3/[>=3.37 <4]")
        if self.options.tools:
            self.requires("cli11/[>=2.1 <3]")
            self.requires("libarchive/[>=3.6 <4]")
            self.requires("utf8proc/[>=2.4 <3]")

    def build_requirements(self):
        self.tool_requires("cmake/[>=3.25 <5]")
        self.tool_requires("pkgconf/[>=1.8 <3]")

    def validate(self):
        check_min_cppstd(self, 20)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["VELMIO_BUILD_EXAMPLES"] = False
        toolchain.cache_variables["VELMIO_BUILD_TESTS"] = False
        toolchain.cache_variables["VELMIO_BUILD_TOOLS"] = bool(self.options.tools)
        toolchain.generate()
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # The installed package configuration knows its targets, and finds what they need.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "VelmioConfiguration")]
