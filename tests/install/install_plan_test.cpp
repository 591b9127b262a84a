// The plan refuses a run that could not end well before anything is
// written: not even the backup directory is made. Kind conflicts, names that
// are one file on a folding volume (through the volume-folding seam: this
// machine's volumes fold nothing), a template directory the locale cannot
// carry, and a volume too small for the kit (a real tmpfs).
#include <memory>

#include "install/install_fixture.h"
#include "install/install_plan.h"
#include "install/volume_folding.h"

namespace kitsetup::testing {
namespace {

NameFolding FoldsCase(const ByteString&) { return {true, true}; }
NameFolding FoldsNormalisation(const ByteString&) { return {false, true}; }

using SrcFn = std::function<void(const std::string& rel, const std::string& text)>;

struct PlanRow {
  const char* name;
  uint32_t code;
  VolumeFoldingHook folding;
  std::function<void(const SrcFn& src, std::string& templ)> setup;
};

class InstallPlanTest : public InstallFixture, public ::testing::WithParamInterface<PlanRow> {
 protected:
  void TearDown() override {
    SetVolumeFoldingHook(nullptr);
    InstallFixture::TearDown();
  }
  std::unique_ptr<SmallVolume> small_;
};

std::vector<PlanRow> Rows() {
  auto file_in_the_way = [](const char* folder) {
    return [folder](const SrcFn& src, std::string& templ) {
      src("b.txt", "b");
      src(std::string(folder) + "/inner/f.txt", "f");
      WriteFile(templ + "/" + folder, "a plain file in the way", kT0);
    };
  };
  return {
      {"FileWhereAFolderIsNeededFirst", 3, nullptr, file_in_the_way("a0")},
      {"FileWhereAFolderIsNeededLast", 3, nullptr, file_in_the_way("zz0")},
      {"FileWhereAFolderIsNeededDeep", 3, nullptr, file_in_the_way("m0/inner")},
      {"FolderWhereTheKitHasAFile", 183, nullptr,
       [](const SrcFn& src, std::string& templ) {
         src("sub/x.txt", "x");
         WriteFile(templ + "/sub/x.txt/mine.txt", "the user's", kT0);
       }},
      {"CaseOnAFoldingVolume", 183, &FoldsCase,
       [](const SrcFn& src, std::string&) {
         src("Dir/Readme.txt", "1");
         src("dir/README.TXT", "2");
       }},
      {"NormalisationOnAFoldingVolume", 183, &FoldsNormalisation,
       [](const SrcFn& src, std::string&) {
         src("caf\xC3\xA9.txt", "nfc");
         src("cafe\xCC\x81.txt", "nfd");
       }},
      // The same names where nothing folds are two files.
      {"CaseAndNormalisationWhereNothingFolds", 0, nullptr,
       [](const SrcFn& src, std::string&) {
         src("Dir/Readme.txt", "1");
         src("dir/README.TXT", "2");
         src("caf\xC3\xA9.txt", "nfc");
         src("cafe\xCC\x81.txt", "nfd");
       }},
      {"TooLittleFreeSpace", 1013, nullptr,
       [](const SrcFn& src, std::string& templ) {
         src("small.txt", "s");
         src("wide.bin", std::string(3 << 20, 'w'));
         templ = templ.substr(0, templ.rfind('/')) + "/volume/templates";
       }},
  };
}

TEST_P(InstallPlanTest, RefusedPlanChangesNothing) {
  const PlanRow& row = GetParam();
  const std::string outer = root_ + "/outer";
  templ_ = outer + "/templates";
  MakeDirs(outer);
  WriteFile(templ_ + "/mine.txt", "the user's own", kT0);
  std::string templ = templ_;
  row.setup([this](const std::string& rel, const std::string& text) { Source(rel, text, kT0 + 100); }, templ);
  if (templ != templ_) {
    // The last row's template directory lies on a 2 MiB volume.
    small_ = std::make_unique<SmallVolume>(outer + "/volume", "2m");
    if (!small_->mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
    templ_ = templ;
  }
  PackAndLoad();
  SetVolumeFoldingHook(row.folding);
  const Snapshot before = TakeSnapshot(outer);

  InstallJob job;
  const uint32_t code = Install(&job);

  EXPECT_EQ(row.code, code) << DescribePlan(job.plan);
  EXPECT_EQ(row.code, job.plan.refusal);
  if (row.code == 0) {
    EXPECT_EQ("nfd", ReadFile(templ_ + "/cafe\xCC\x81.txt"));
    EXPECT_EQ("2", ReadFile(templ_ + "/dir/README.TXT"));
    ExpectTempHoldsOnlyStaging();
    return;
  }
  EXPECT_FALSE(job.plan.reason.empty());
  ASSERT_EQ(1u, posts_.size());
  EXPECT_EQ(row.code, posts_[0].code);
  EXPECT_EQ(Utf8(LookupMessage("IDS_INSTALL_ERROR")), posts_[0].text);
  EXPECT_EQ(0, posts_[0].percent);
  EXPECT_EQ(before, TakeSnapshot(outer));
  ExpectTempHoldsOnlyStaging();  // no backup directory either
}

INSTANTIATE_TEST_SUITE_P(Refusals, InstallPlanTest, ::testing::ValuesIn(Rows()),
                         [](const ::testing::TestParamInfo<PlanRow>& info) { return info.param.name; });

// A template directory that the locale cannot carry is refused, never
// shortened into another path (the working directory among them).
using InstallPlanEdge = InstallFixture;
TEST_F(InstallPlanEdge, UnconvertibleTemplateDirectoryIsRefused) {
  Source("a.txt", "a", kT0);
  PackAndLoad();
  const std::u16string lone_surrogate = u"/x\xD800y";
  for (const std::u16string& dir : {testsupport::U16(root_) + lone_surrogate, std::u16string()}) {
    InstallJob job;
    const TextString directory = Text(dir);
    EXPECT_NE(0u, Install(&job, &directory));
    EXPECT_EQ(dir.empty() ? 87u : 13u, job.plan.refusal);
  }
  EXPECT_EQ((std::vector<std::string>{"kit.efd", "src", "tmp"}), ListNames(root_));
  ExpectTempHoldsOnlyStaging();
}

}  // namespace
}  // namespace kitsetup::testing
