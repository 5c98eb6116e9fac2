// Safe output: what an overwrite keeps, and what is written in place.
#include "io/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace fs = std::filesystem;

namespace plexa::io {
namespace {

std::string Slurp(const fs::path& p) {
  std::ifstream f(p, std::ios::binary);
  std::stringstream s;
  s << f.rdbuf();
  return s.str();
}

class OutputFile : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("plexa_out_" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  // Only the named entries are in the folder: no temporary file was left behind.
  std::size_t Entries() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(dir_), fs::directory_iterator()));
  }
  fs::path dir_;
};

TEST_F(OutputFile, OverwritesKeepModeLinksAndRefuseReadOnlyFiles) {
  std::string error;
  const fs::path file = dir_ / "a.svg";
  // New file: the permissions of a plain create.
  ASSERT_TRUE(WriteOutputFile(file, "one", error)) << error;
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(static_cast<mode_t>(fs::status(file).permissions()), 0666 & ~mask);

  // Mode kept.
  ::chmod(file.c_str(), 0600);
  ASSERT_TRUE(WriteOutputFile(file, "two", error)) << error;
  EXPECT_EQ(Slurp(file), "two");
  EXPECT_EQ(static_cast<mode_t>(fs::status(file).permissions()), 0600u);

  // A symbolic link is followed: the link stays, its target changes.
  const fs::path link = dir_ / "link.svg";
  fs::create_symlink(file, link);
  ASSERT_TRUE(WriteOutputFile(link, "three", error)) << error;
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(Slurp(file), "three");

  // A hard link stays shared, and a longer file is cut to the new length.
  const fs::path hard = dir_ / "hard.svg";
  fs::create_hard_link(file, hard);
  ASSERT_TRUE(WriteOutputFile(hard, "4", error)) << error;
  EXPECT_EQ(Slurp(file), "4");
  EXPECT_EQ(fs::hard_link_count(file), 2u);

  // Read-only: refused and untouched (also when running as root).
  ::chmod(file.c_str(), 0444);
  EXPECT_FALSE(WriteOutputFile(file, "five", error));
  EXPECT_NE(error.find("read-only"), std::string::npos) << error;
  EXPECT_EQ(Slurp(file), "4");
  EXPECT_EQ(Entries(), 3u);

  // A folder that does not exist, and a folder as the output.
  EXPECT_FALSE(WriteOutputFile(dir_ / "no" / "x.svg", "x", error));
  EXPECT_FALSE(WriteOutputFile(dir_, "x", error));
  EXPECT_NE(error.find("cannot write"), std::string::npos);
}

TEST_F(OutputFile, DevicesAndPipesAreWrittenInPlaceAndFailuresReported) {
  std::string error;
  // /dev/full: every write fails with "no space"; the device node stays a device.
  if (fs::exists("/dev/full")) {
    EXPECT_FALSE(WriteOutputFile("/dev/full", "data", error));
    EXPECT_NE(error.find("/dev/full"), std::string::npos);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
  }
  ASSERT_TRUE(WriteOutputFile("/dev/null", "data", error)) << error;
  EXPECT_TRUE(fs::is_character_file("/dev/null"));

  const fs::path fifo = dir_ / "pipe";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  std::string got;
  std::thread reader([&] { got = Slurp(fifo); });
  EXPECT_TRUE(WriteOutputFile(fifo, "through the pipe", error)) << error;
  reader.join();
  EXPECT_EQ(got, "through the pipe");
  EXPECT_TRUE(fs::is_fifo(fifo));
  EXPECT_EQ(Entries(), 1u);
}

}  // namespace
}  // namespace plexa::io
