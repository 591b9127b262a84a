// The plan refuses a run that could not end well before anything is written,
// backup directory included. Folding volumes come through the seam: this
// machine's fold nothing.
#include <optional>

#include "install/install_fixture.h"
#include "install/install_plan.h"
#include "install/volume_folding.h"

namespace kitsetup::testing {
namespace {

NameFolding FoldsCase(const ByteString&) { return {true, true}; }
NameFolding FoldsNormalisation(const ByteString&) { return {false, true}; }

struct PlanRow {
  const char* name;
  uint32_t code;
  VolumeFoldingHook folding;
  std::vector<std::string> sources;  // the kit's files, each holding its own name
  std::string in_the_way;            // a file of the user's below the template directory
  bool small_volume = false;         // the template directory lies on a 2 MiB volume
  // Instead of the template directory: root_ and these units, or "" alone.
  const char16_t* directory = nullptr;
};

class InstallPlanTest : public InstallFixture, public ::testing::WithParamInterface<PlanRow> {};

const char kNfc[] = "caf\xC3\xA9.txt", kNfd[] = "cafe\xCC\x81.txt";
const PlanRow kRows[] = {
    {"FileWhereAFolderIsNeededFirst", 3, nullptr, {"b.txt", "a0/inner/f.txt"}, "a0"},
    {"FileWhereAFolderIsNeededLast", 3, nullptr, {"b.txt", "zz0/inner/f.txt"}, "zz0"},
    {"FileWhereAFolderIsNeededDeep", 3, nullptr, {"b.txt", "m0/inner/inner/f.txt"}, "m0/inner"},
    {"FolderWhereTheKitHasAFile", 183, nullptr, {"sub/x.txt"}, "sub/x.txt/mine.txt"},
    {"CaseOnAFoldingVolume", 183, &FoldsCase, {"Dir/Readme.txt", "dir/README.TXT"}, ""},
    {"NormalisationOnAFoldingVolume", 183, &FoldsNormalisation, {kNfc, kNfd}, ""},
    // The same names where nothing folds are two files.
    {"CaseAndNormalisationWhereNothingFolds", 0, nullptr, {"Dir/Readme.txt", "dir/README.TXT", kNfc, kNfd}, ""},
    {"TooLittleFreeSpace", 1013, nullptr, {"small.txt", "wide.bin"}, "", true},
    // A directory the locale cannot carry is never shortened into another path.
    {"UnconvertibleTemplateDirectory", 13, nullptr, {"a.txt"}, "", false, u"/x\xD800y"},
    {"EmptyTemplateDirectory", 87, nullptr, {"a.txt"}, "", false, u""},
};

TEST_P(InstallPlanTest, RefusedPlanChangesNothing) {
  const PlanRow& row = GetParam();
  const std::string outer = root_ + "/outer";
  templ_ = outer + "/templates";
  std::optional<SmallVolume> volume;
  if (row.small_volume) {
    volume.emplace(outer, "2m");
    if (!volume->mounted()) GTEST_SKIP() << "cannot mount a tmpfs here";
  }
  WriteFile(templ_ + "/mine.txt", "the user's own", kT0);
  if (!row.in_the_way.empty()) WriteFile(templ_ + "/" + row.in_the_way, "the user's, in the way", kT0);
  for (const std::string& rel : row.sources)
    Source(rel, rel == "wide.bin" ? std::string(3 << 20, 'w') : rel, kT0 + 100);
  PackAndLoad();
  SetVolumeFoldingHook(row.folding);
  const Snapshot before = TakeSnapshot(root_);
  const TextString directory =
      !row.directory ? Text(templ_) : Text(*row.directory ? testsupport::U16(root_) + row.directory : u"");

  InstallJob job;
  const uint32_t code = Install(&job, &directory);
  SetVolumeFoldingHook(nullptr);

  EXPECT_EQ(row.code, code) << DescribePlan(job.plan);
  EXPECT_EQ(row.code, job.plan.refusal);
  ExpectTempHoldsOnlyStaging();  // no backup directory either
  if (row.code == 0) {
    for (const std::string& rel : row.sources) EXPECT_EQ(rel, ReadFile(templ_ + "/" + rel));
    return;
  }
  EXPECT_FALSE(job.plan.reason.empty());
  EXPECT_EQ(std::vector<std::string>{ErrorPost(row.code)}, posts_);
  EXPECT_EQ(before, TakeSnapshot(root_));
}

INSTANTIATE_TEST_SUITE_P(Refusals, InstallPlanTest, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<PlanRow>& info) { return info.param.name; });

}  // namespace
}  // namespace kitsetup::testing
