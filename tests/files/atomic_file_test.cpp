#include "quillmere/files/atomic_file.hpp"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/support/row_name.hpp"
#include "tests/support/temporary_directory.hpp"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace quillmere::files {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class AtomicFileTest : public testing::Test {
 protected:
  [[nodiscard]] fs::path at(const char* name) const { return _directory.path() / name; }

  /// The names in the directory, sorted: a temporary that was left behind shows.
  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(_directory.path())) found.push_back(entry.path().filename());
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  TemporaryDirectory _directory;
};

TEST_F(AtomicFileTest, StandsInItsPlaceOnlyOnceCommitted) {
  write_file(at("f"), "earlier");
  {
    AtomicFile file(at("f"));
    file.write("new, ");
    file.write("");
    file.write(std::string_view("and\0whole", 9));
    EXPECT_EQ(content(at("f")), "earlier");
    file.commit();
    EXPECT_EQ(content(at("f")), std::string("new, and\0whole", 14));
  }
  {
    AtomicFile file(at("f"));
    file.write("given up");
  }
  EXPECT_EQ(content(at("f")).size(), 14U);
  EXPECT_THAT(names(), ElementsAre("f"));
}

TEST_F(AtomicFileTest, PermissionsAreKeptOrFollowTheUmask) {
  const auto mode = [](const fs::path& path) { return static_cast<unsigned>(fs::status(path).permissions()); };
  const mode_t umask_before = ::umask(027);
  write_file(at("f"), "a");
  ::umask(umask_before);
  EXPECT_EQ(mode(at("f")), 0640U);
  fs::permissions(at("f"), fs::perms(0604));
  write_file(at("f"), "b");
  EXPECT_EQ(mode(at("f")), 0604U);
}

TEST_F(AtomicFileTest, WhatMayNotBeWrittenIsNotReplaced) {
  write_file(at("f"), "earlier");
  fs::create_directory(at("open"));
  write_file(at("open/f"), "earlier");
  fs::permissions(at("open"), fs::perms::all);
  fs::permissions(at("open/f"), fs::perms(0444));
  fs::permissions(at(""), fs::perms(0555));
  const bool is_root = ::geteuid() == 0;  // who may write anything
  if (is_root && ::seteuid(65534) != 0) GTEST_SKIP() << "cannot be anybody but root";
  EXPECT_THROW(write_file(at("f"), "new"), fs::filesystem_error) << "directory is write-protected";
  EXPECT_THROW(write_file(at("g"), "new"), fs::filesystem_error) << "directory is write-protected";
  EXPECT_THROW(write_file(at("d/g"), "new"), fs::filesystem_error) << "directory cannot be created";
  EXPECT_THROW(write_file(at("open/f"), "new"), fs::filesystem_error) << "file is write-protected";
  EXPECT_TRUE(!is_root || ::seteuid(0) == 0);
  fs::permissions(at(""), fs::perms(0755));
  EXPECT_EQ(content(at("f")), "earlier");
  EXPECT_EQ(content(at("open/f")), "earlier");
  EXPECT_THAT(names(), ElementsAre("f", "open"));
}

TEST_F(AtomicFileTest, ALinkStaysALink) {
  fs::create_directory(at("d"));
  fs::create_symlink("d/target", at("link"));
  for (const char* text : {"dangling at first", "then not"}) {
    EXPECT_EQ(write_file(at("link"), text), at("d/target"));
    EXPECT_TRUE(fs::is_symlink(at("link")));
    EXPECT_EQ(content(at("d/target")), text);
  }
}

TEST_F(AtomicFileTest, APipeIsWrittenInPlace) {
  ASSERT_EQ(::mkfifo(at("pipe").c_str(), 0600), 0);
  std::string read;
  std::thread reader([&] { read = content(at("pipe")); });
  const std::string text(200'000, 'x');  // more than a pipe holds
  EXPECT_EQ(write_file(at("pipe"), text), at("pipe"));
  reader.join();
  EXPECT_EQ(read, text);
  EXPECT_TRUE(fs::is_fifo(at("pipe")));
  EXPECT_THAT(names(), ElementsAre("pipe"));
}

TEST_F(AtomicFileTest, AnOpenFileIsWrittenAtItsEnd) {
  write_file(at("f"), "head, ");
  const int descriptor = ::open(at("f").c_str(), O_WRONLY);
  const std::string number = std::to_string(descriptor);
  const fs::path written = write_file("/dev/fd/" + number, "body");
  ::close(descriptor);
  EXPECT_EQ(written, "/proc/" + std::to_string(::getpid()) + "/fd/" + number);
  EXPECT_EQ(content(at("f")), "head, body");
}

TEST_F(AtomicFileTest, AnOpenPipeHasNoNameAndIsWritten) {
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  write_file("/dev/fd/" + std::to_string(ends[1]), "body");
  ::close(ends[1]);
  EXPECT_EQ(content("/dev/fd/" + std::to_string(ends[0])), "body");
  ::close(ends[0]);
}

/// `path` is relative to a directory that holds the regular file "file" and the directory "directory".
struct FailureCase {
  const char* name;
  std::string path;
  std::errc error;
};

class AtomicFileFailure : public AtomicFileTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(AtomicFileFailure, NamesThePath) {
  write_file(at("file"), "earlier");
  fs::create_directory(at("directory"));
  fs::create_symlink("circle", at("circle"));
  const fs::path path = at("") / GetParam().path;
  try {
    write_file(path, "text");
    FAIL() << "written";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.code(), std::make_error_condition(GetParam().error)) << error.what();
    EXPECT_THAT(error.what(), HasSubstr(path.filename().c_str()));
  }
  EXPECT_EQ(content(at("file")), "earlier");
  EXPECT_THAT(names(), ElementsAre("circle", "directory", "file"));
}

INSTANTIATE_TEST_SUITE_P(Targets, AtomicFileFailure,
                         testing::ValuesIn<FailureCase>({
                             {"full_device", "/dev/full", std::errc::no_space_on_device},
                             {"directory", "directory", std::errc::is_a_directory},
                             {"below_a_file", "file/f", std::errc::not_a_directory},
                             {"far_below_a_file", "file/d/f", std::errc::not_a_directory},
                             {"circle", "circle", std::errc::too_many_symbolic_link_levels},
                             {"through_a_circle", "circle/f", std::errc::too_many_symbolic_link_levels},
                             {"name_too_long", std::string(256, 'x'), std::errc::filename_too_long},
                             {"nul", std::string("a\0b", 3), std::errc::invalid_argument},
                             {"no_such_open_file", "/proc/self/fd/999999", std::errc::no_such_file_or_directory},
                         }),
                         row_name);

TEST_F(AtomicFileTest, AnEmptyPathIsRefused) {
  EXPECT_THROW(write_file("", "x"), fs::filesystem_error);
}

/// Both relative to a directory that holds: "d/e" (directories), "abs" -> DIRECTORY/d, "up" -> d/../other,
/// "chain" -> abs/e.
struct ResolveCase {
  const char* name;
  const char* path;
  const char* resolved;
};

class Resolve : public AtomicFileTest, public testing::WithParamInterface<ResolveCase> {};

TEST_P(Resolve, FollowsLinksAndDots) {
  fs::create_directories(at("d/e"));
  fs::create_symlink(at("d"), at("abs"));
  fs::create_symlink("d/../other", at("up"));
  fs::create_symlink("abs/e", at("chain"));
  const fs::path expected = at(GetParam().resolved);
  EXPECT_EQ(resolve(at(GetParam().path)), expected);

  const fs::path before = fs::current_path();
  fs::current_path(at("d"));
  EXPECT_EQ(resolve(fs::path("..") / GetParam().path), expected) << "relative";
  fs::current_path(before);
}

INSTANTIATE_TEST_SUITE_P(Paths, Resolve,
                         testing::ValuesIn<ResolveCase>({
                             {"plain", "f", "f"},
                             {"dots_and_slashes", "./d//./e/../f", "d/f"},
                             {"trailing_slash", "d/e/", "d/e"},
                             {"missing_directories", "no/such/../f", "no/f"},
                             {"absolute_link", "abs/f", "d/f"},
                             {"dangling_link", "up", "other"},
                             {"link_to_link", "chain/f", "d/e/f"},
                             {"dot_dot_behind_a_link_leaves_its_target", "chain/../f", "d/f"},
                         }),
                         row_name);

}  // namespace
}  // namespace quillmere::files
