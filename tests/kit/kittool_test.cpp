// kittool pack, list and verify, run as the real program on real files.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "install/install_fixture.h"
#include "kit/kit_test_support.h"
#include "kit/kit_writer.h"

namespace {

using testsupport::Text;

struct Result {
  int exit_code = -1;  // -1 when killed by a signal
  int signal = 0;
  std::string out, err;
};

class KittoolTest : public ::testing::Test {
 protected:
  // Starts kittool with `args` and TMPDIR set to tmp_; returns its pid.
  pid_t Start(const std::vector<std::string>& args) {
    pid_t pid = fork();
    if (pid == 0) {
      int out = open((scratch_.At("stdout")).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      int err = open((scratch_.At("stderr")).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      dup2(out, 1);
      dup2(err, 2);
      setenv("TMPDIR", tmp_.path().c_str(), 1);
      setenv("LANG", "C.UTF-8", 1);
      std::vector<char*> argv{const_cast<char*>(kKittool)};
      for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
      argv.push_back(nullptr);
      execv(kKittool, argv.data());
      _exit(127);
    }
    return pid;
  }
  Result Wait(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    Result r;
    if (WIFEXITED(status)) r.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) r.signal = WTERMSIG(status);
    r.out = testsupport::ReadFile(scratch_.At("stdout"));
    r.err = testsupport::ReadFile(scratch_.At("stderr"));
    return r;
  }
  Result Run(const std::vector<std::string>& args) { return Wait(Start(args)); }

  void MakeFile(const std::string& relative, const std::string& bytes, time_t mtime) {
    testsupport::WriteFile(src_.At(relative), bytes, mtime);
  }

  static constexpr const char* kKittool = KITSETUP_BINARY_DIR "/kittool";
  kittest::ScopedTmpdir tmp_;
  testsupport::ScratchDir scratch_;
  testsupport::ScratchDir src_;
};

uint64_t FileTime(time_t seconds) { return uint64_t(seconds) * 10000000 + 116444736000000000ull; }

TEST_F(KittoolTest, PackedTreeListsAsJson) {
  std::string bin;
  for (int i = 0; i < 256; ++i) bin.push_back(static_cast<char>(i));
  MakeFile("readme.htm", "hello", 1600000000);
  MakeFile("conf/main.cfg", "a=1\n", 1600000001);
  MakeFile("conf/sub/x.bin", bin, 1600000002);
  std::string kit = scratch_.At("out.efd");
  Result pack = Run({"pack", "--describe", "en", "Say \"hi\"", "Vendor\\Co", "readme.htm", "--describe", "ru",
                     "Продукт", "V", "", "--level", "9", src_.path(), kit});
  ASSERT_EQ(pack.exit_code, 0) << pack.err;

  // Offsets follow the table, whose size the format fixes.
  size_t table = 8 + kittest::DescriptionRecord(u"en", u"Say \"hi\"", u"Vendor\\Co", u"readme.htm").size() +
                 kittest::DescriptionRecord(u"ru", u"Продукт", u"V", u"").size() + 4 +
                 kittest::EntryRecord(u"conf\\main.cfg", 0, 0, 0).size() +
                 kittest::EntryRecord(u"conf\\sub\\x.bin", 0, 0, 0).size() +
                 kittest::EntryRecord(u"readme.htm", 0, 0, 0).size();
  std::string expected =
      "{\"descriptionFormat\": 1, \"descriptions\": ["
      "{\"language\": \"en\", \"product\": \"Say \\\"hi\\\"\", \"vendor\": \"Vendor\\\\Co\", "
      "\"descriptionFile\": \"readme.htm\"}, "
      "{\"language\": \"ru\", \"product\": \"Продукт\", \"vendor\": \"V\", \"descriptionFile\": \"\"}], "
      "\"entries\": ["
      "{\"name\": \"conf\\\\main.cfg\", \"writeTime\": " + std::to_string(FileTime(1600000001)) +
      ", \"dataOffset\": " + std::to_string(table) + ", \"dataSize\": 4}, "
      "{\"name\": \"conf\\\\sub\\\\x.bin\", \"writeTime\": " + std::to_string(FileTime(1600000002)) +
      ", \"dataOffset\": " + std::to_string(table + 4) + ", \"dataSize\": 256}, "
      "{\"name\": \"readme.htm\", \"writeTime\": " + std::to_string(FileTime(1600000000)) +
      ", \"dataOffset\": " + std::to_string(table + 260) + ", \"dataSize\": 5}], "
      "\"unpackedSize\": " + std::to_string(table + 265) + "}\n";
  Result list = Run({"list", "--json", kit});
  ASSERT_EQ(list.exit_code, 0) << list.err;
  EXPECT_EQ(list.out, expected);
  EXPECT_TRUE(tmp_.StagingFiles().empty());

  Result text = Run({"list", kit});
  ASSERT_EQ(text.exit_code, 0) << text.err;
  EXPECT_NE(text.out.find("2020-09-13 12:26:41 UTC"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("conf\\sub\\x.bin"), std::string::npos) << text.out;

  Result verify = Run({"verify", kit});
  EXPECT_EQ(verify.exit_code, 0) << verify.err;
  EXPECT_TRUE(tmp_.StagingFiles().empty());
}

TEST_F(KittoolTest, LegacyFormLevelsAndBadUsage) {
  MakeFile("a.txt", std::string(100000, 'a'), 1600000000);
  std::string kit = scratch_.At("legacy.efd");
  ASSERT_EQ(Run({"pack", "--legacy", "--level", "0", "--describe", "de", "P", "V", "docs/x.htm", src_.path(), kit})
                .exit_code,
            0);
  EXPECT_EQ((static_cast<unsigned char>(testsupport::ReadFile(kit)[0]) >> 1) & 3, 0);  // stored blocks
  Result list = Run({"list", "--json", kit});
  ASSERT_EQ(list.exit_code, 0) << list.err;
  EXPECT_EQ(list.out.find("{\"descriptionFormat\": 0, \"descriptions\": [{\"language\": \"en\", \"product\": "
                          "\"P\", \"vendor\": \"V\", \"descriptionFile\": \"docs\\\\x.htm\"}]"),
            0u)
      << list.out;

  const std::string never = scratch_.At("never.efd");
  const std::vector<std::vector<std::string>> bad_usage = {
      {},
      {"frobnicate"},
      {"pack", src_.path()},
      {"pack", "--legacy", src_.path(), never},
      {"pack", "--legacy", "--describe", "en", "P", "V", "", "--describe", "ru", "P", "V", "", src_.path(), never},
      {"pack", "--level", "12", src_.path(), never},
      {"pack", "--describe", "en", "P", src_.path(), never},
      {"pack", "--bogus", src_.path(), never},
      {"list"},
      {"list", "--xml", never},
      {"verify"},
      {"verify", never, never},
  };
  for (const auto& args : bad_usage) {
    Result r = Run(args);
    EXPECT_EQ(r.exit_code, 2) << (args.empty() ? "" : args[0]) << " " << r.err;
    EXPECT_NE(r.err.find("usage: kittool"), std::string::npos) << r.err;
    EXPECT_NE(access(never.c_str(), F_OK), 0) << "no kit is written on bad usage";
  }
  for (const char* command : {"pack", "list", "verify"}) {
    Result r = Run({command, "--help"});
    EXPECT_EQ(r.exit_code, 0);
    EXPECT_EQ(r.out.find(std::string("usage: kittool ") + command), 0u) << r.out;
  }
}

TEST_F(KittoolTest, PackRefusesNamesTheInstallerWouldRefuse) {
  MakeFile("good.txt", "x", 1600000000);
  for (const char* bad : {"cost$.txt", "a`b", "quote\"d", "back\\slash", "line\nbreak"}) {
    MakeFile(bad, "x", 1600000000);
    std::string kit = scratch_.At("refused.efd");
    Result r = Run({"pack", src_.path(), kit});
    EXPECT_EQ(r.exit_code, 1) << bad;
    EXPECT_NE(r.err.find("cannot pack"), std::string::npos) << r.err;
    EXPECT_NE(access(kit.c_str(), F_OK), 0) << "a refused kit must not be written";
    unlink(src_.At(bad).c_str());
  }
  EXPECT_EQ(Run({"pack", scratch_.At("no-such-dir"), scratch_.At("k.efd")}).exit_code, 1);
  Result desc = Run({"pack", "--describe", "en", "P", "V", "..\\escape.htm", src_.path(), scratch_.At("k.efd")});
  EXPECT_EQ(desc.exit_code, 2);
  EXPECT_NE(desc.err.find("would refuse"), std::string::npos) << desc.err;
}

// verify names the record and the check in one line; install refuses the
// same kits for the same reason, before it touches the template directory.
TEST_F(KittoolTest, VerifyAndInstallRefuseEachBrokenFixtureInOneLine) {
  const std::string dir = KITSETUP_SOURCE_DIR "/tests/data/kit/";
  const char* const good[] = {"good_counted.efd", "good_legacy.efd"};
  const std::pair<const char*, const char*> broken[] = {
      {"empty.efd", "ends before it"},
      {"corrupt_stream.efd", "corrupt"},
      {"truncated_table.efd", "description record 0"},
      {"name_empty.efd", "entry record 0: name \"\" is empty"},
      {"name_parent_component.efd", "\"..\" component"},
      {"name_shell_dollar.efd", "shell"},
      {"name_control_character.efd", "control character"},
      {"description_file_parent_component.efd", "description record 0: description file"},
      {"entry_data_past_end.efd", "entry record 0"},
      {"record_size_below_4.efd", "below 4"},
      {"record_size_hostile.efd", "4294967280 bytes"},
      {"string_past_record.efd", "500 units"},
      {"name_lone_surrogate.efd", "entry record 0: name \"Docs\\read\\uD800.htm\" holds a character that does not"},
      {"name_separator_only.efd", "entry record 0: name \"\\\" is only separators"},
      {"name_trailing_separator.efd", "entry record 0: name \"Templates\\\" ends in a separator"},
      {"name_duplicate.efd", "entry record 1: name \"conf\\main.cfg\" names the same file as entry record 0"},
      {"name_file_is_folder.efd", "entry record 1: name \"conf\\main.cfg\" needs a folder where entry record 0"},
      {"description_record_bomb.efd", "description table: 4097 records, more than the 4096 a kit may hold"},
  };
  const std::string target = scratch_.At("templates");
  testsupport::WriteFile(target + "/conf/main.cfg", "user's", 1500000000);
  testsupport::WriteFile(target + "/Docs/readme.htm", "user's", 1500000000);
  const kitsetup::testing::Snapshot before = kitsetup::testing::TakeSnapshot(target);
  for (const char* name : good) {
    Result r = Run({"verify", dir + name});
    EXPECT_EQ(r.exit_code, 0) << name << ": " << r.err;
  }
  for (const auto& [name, says] : broken) {
    Result r = Run({"verify", dir + name});
    EXPECT_EQ(r.exit_code, 3) << name;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_NE(r.err.find(says), std::string::npos) << name << ": " << r.err;
    EXPECT_TRUE(tmp_.StagingFiles().empty()) << name;
    Result install = Run({"install", "--quiet", dir + name, target + "/"});
    EXPECT_EQ(install.exit_code, 3) << name << ": " << install.err;
    EXPECT_NE(install.err.find(says), std::string::npos) << name << ": " << install.err;
    EXPECT_TRUE(kitsetup::testing::TakeSnapshot(target) == before) << name;
    EXPECT_EQ(testsupport::ListNames(tmp_.path()), std::vector<std::string>()) << name;
  }
  Result missing = Run({"verify", scratch_.At("missing.efd")});
  EXPECT_EQ(missing.exit_code, 3);
  EXPECT_NE(missing.err.find("does not exist"), std::string::npos) << missing.err;
}

// A signal while a kit inflates, for every command that unpacks one: the
// inflation stops at its next chunk, the staging file (unnamed since it was
// opened) is gone, nothing is installed, and the exit code is 128 + signal.
TEST_F(KittoolTest, ASignalDuringLoadingEndsWith128PlusItAndLeavesNothing) {
  if (access("/proc/self/fd", R_OK) != 0) GTEST_SKIP() << "needs /proc to see the unnamed staging file";
  // 256 MB of zeros: a small kit that takes a moment to inflate.
  std::string zeros = scratch_.At("zeros");
  int fd = open(zeros.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_EQ(ftruncate(fd, 256 << 20), 0);
  close(fd);
  kitsetup::KitBuilder builder;
  builder.SetLevel(1);
  ASSERT_EQ(builder.AddFile(Text(u"zeros"), zeros, 0), 0u);
  std::string kit = scratch_.At("zeros.efd");
  ASSERT_EQ(builder.WriteTo(kit), 0u);
  unlink(zeros.c_str());
  const std::string templ = scratch_.At("templates");

  const struct {
    std::vector<std::string> args;
    int signal_number;
  } kCases[] = {
      {{"verify", kit}, SIGINT},
      {{"list", kit}, SIGTERM},
      {{"list", "--json", kit}, SIGHUP},
      {{"install", kit, templ}, SIGINT},
      {{"install", "--quiet", kit, templ}, SIGTERM},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.args[0] + " " + strsignal(c.signal_number));
    pid_t pid = Start(c.args);
    // Once the staging file grows, stop the process: the signal then lands
    // mid-inflation however loaded the machine is.
    auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (tmp_.OpenStagingBytes(pid) <= 0 && std::chrono::steady_clock::now() < give_up)
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    kill(pid, SIGSTOP);
    const int64_t unpacked = tmp_.OpenStagingBytes(pid);
    EXPECT_GT(unpacked, 0);
    EXPECT_LT(unpacked, int64_t{256} << 20);
    EXPECT_TRUE(tmp_.StagingFiles().empty()) << "the staging file has no name while it fills";
    kill(pid, c.signal_number);
    kill(pid, SIGCONT);
    Result r = Wait(pid);
    EXPECT_EQ(r.exit_code, 128 + c.signal_number) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(testsupport::ListNames(tmp_.path()), std::vector<std::string>{});
    EXPECT_NE(access(templ.c_str(), F_OK), 0);
  }
}

// The reader of a listing goes away (kittool list KIT | head -1): the command
// ends quietly with 141 and leaves no staging file.
TEST_F(KittoolTest, AClosedPipeEndsTheListingQuietlyWith141) {
  // Far more than a pipe holds, so writes go on after the reader left.
  for (int i = 0; i < 3000; ++i) MakeFile("d/file" + std::to_string(i) + ".txt", "x", 1600000000);
  std::string kit = scratch_.At("many.efd");
  ASSERT_EQ(Run({"pack", src_.path(), kit}).exit_code, 0);
  const std::pair<const char*, const char*> kReaders[] = {{"", "head -1"}, {"--json", "head -c 100"}};
  for (const auto& [json, reader] : kReaders) {
    const std::string command = "set -o pipefail; TMPDIR='" + tmp_.path() + "' '" + kKittool + "' list " + json +
                                " '" + kit + "' 2>'" + scratch_.At("stderr") + "' | " + reader + " >/dev/null";
    const int status = std::system(("bash -c \"" + command + "\"").c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 141) << reader << " " << json;
    EXPECT_EQ(testsupport::ReadFile(scratch_.At("stderr")), "");
    EXPECT_EQ(testsupport::ListNames(tmp_.path()), std::vector<std::string>{});
  }
}

}  // namespace
