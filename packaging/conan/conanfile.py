"""The recipe for Conan 2: conan create packaging/conan"""
import re
from pathlib import Path

from conan import ConanFile
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load

ROOT = Path(__file__).resolve().parents[2]
SOURCES = ("CMakeLists.txt", "LICENSE", "cmake/*", "src/*", "cli/*")


class QuillmereConan(ConanFile):
    name = "quillmere"
    description = "Commerce facts out of visual search matches"
    license = "Apache-2.0"
    topics = ("visual-search", "commerce", "prices")
    package_type = "library"
    settings = "os", "compiler", "build_type", "arch"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": False, "fPIC": True}
    implements = ["auto_shared_fpic"]

    def set_version(self):
        text = load(self, str(ROOT / "CMakeLists.txt"))
        self.version = re.search(r"project\(quillmere VERSION ([0-9.]+)", text)[1]

    def export_sources(self):
        for pattern in SOURCES:
            copy(self, pattern, src=str(ROOT), dst=self.export_sources_folder)

    def requirements(self):
        self.requires("boost/1.81.0", transitive_headers=True)
        self.requires("libcurl/[>=7.88 <9]")
        self.requires("openssl/[>=3.0 <4]")
        self.requires("icu/[>=72]")
        self.requires("simdjson/[>=3.0 <4]")
        self.requires("nlohmann_json/[>=3.11 <4]")
        self.requires("cli11/[>=2.1 <3]")

    def validate(self):
        check_min_cppstd(self, 20)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeToolchain(self).generate()
        CMakeDeps(self).generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", src=self.source_folder, dst=str(Path(self.package_folder, "licenses")))
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["quillmere"]
        self.cpp_info.system_libs = ["pthread"]
        self.cpp_info.set_property("cmake_target_name", "quillmere::quillmere")
        self.cpp_info.requires = ["boost::headers", "libcurl::libcurl", "openssl::crypto", "icu::icu-uc", "simdjson::simdjson"]
