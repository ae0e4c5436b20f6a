#include "host/Module.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace Fabrion::Host {
namespace {

namespace fs = std::filesystem;

class ModulePlace : public testing::Test {
 protected:
  ModulePlace() {
    fs::remove_all(root_);
    fs::create_directories(bin_);
  }
  ~ModulePlace() override { fs::remove_all(root_); }

  const fs::path root_ = fs::path(testing::TempDir()) / "module-place";
  const fs::path bin_ = root_ / "bin";
};

TEST_F(ModulePlace, IsBesideTheProgramWhereAModuleStandsThere) {
  std::ofstream(bin_ / "FabrionSm.so") << "module";
  EXPECT_EQ(modulePlace(bin_.string()), (bin_ / "FabrionSm.so").string());
}

TEST_F(ModulePlace, IsThatOfTheInstallationOtherwise) {
  const fs::path place = modulePlace(bin_.string());
  EXPECT_EQ(place.filename(), "FabrionSm.so");
  EXPECT_EQ(place.parent_path().filename(), "fabrion");
  // In the same tree, wherever that was moved to.
  EXPECT_TRUE(place.string().starts_with(root_.string() + "/lib")) << place;
  EXPECT_EQ(place.string().find(".."), std::string::npos) << place;
}

TEST(FolderOfExecutable, IsWhereTheLinkLeads) {
  EXPECT_TRUE(fs::exists(fs::path(folderOfExecutable()) / "test_host"));
  const fs::path link = fs::path(testing::TempDir()) / "link-to-program";
  fs::remove(link);
  fs::create_symlink("/somewhere/bin/fabrion", link);
  EXPECT_EQ(folderOfExecutable(link.string()), "/somewhere/bin");
  fs::remove(link);
  try {
    folderOfExecutable(link.string());
    FAIL() << "a link that is not there";
  } catch (const ModuleError& error) {
    EXPECT_STREQ(error.what(),
                 "where the executable stands is not known: No such file or directory");
  }
}

}  // namespace
}  // namespace Fabrion::Host
