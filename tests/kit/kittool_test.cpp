// kittool pack, list, verify and extract, run as the real program on real files.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "install/install_fixture.h"
#include "kit/kit_test_support.h"

namespace {

using testsupport::ListNames;
using testsupport::Text;

struct Result {
  int exit_code;  // minus the signal that ended it
  std::string out, err;
};

class KittoolTest : public ::testing::Test {
 protected:
  // Starts kittool with TMPDIR at tmp_ and `env` ("NAME=value") added; its pid.
  pid_t Start(const std::vector<std::string>& args, std::vector<std::string> env = {},
              const std::string& out_path = "") {
    std::vector<std::string> argv{kitsetup::testing::Kittool()};
    argv.insert(argv.end(), args.begin(), args.end());
    env.insert(env.end(), {"TMPDIR=" + tmp_.path(), "LANG=C.UTF-8"});
    return testsupport::Spawn(argv, env, out_path.empty() ? scratch_.At("stdout") : out_path, scratch_.At("stderr"));
  }
  Result Wait(pid_t pid) {
    const int code = testsupport::WaitForExit(pid);
    return {code, testsupport::ReadFile(scratch_.At("stdout")), testsupport::ReadFile(scratch_.At("stderr"))};
  }
  Result Run(const std::vector<std::string>& args, const std::vector<std::string>& env = {}) {
    return Wait(Start(args, env));
  }
  // Evaluates a Python expression over the parsed JSON text, as `d`.
  std::string Python(const std::string& json_text, const std::string& expression) {
    return testsupport::PythonOnJson(json_text, expression, scratch_.path());
  }
  void MakeFile(const std::string& relative, const std::string& bytes, time_t mtime) {
    testsupport::WriteFile(src_.At(relative), bytes, mtime);
  }
  // The size of the staging file `pid` holds open in tmp_; -1 when none.
  int64_t OpenStagingBytes(pid_t pid) const {
    const std::string fds = "/proc/" + std::to_string(pid) + "/fd";
    for (const std::string& fd : ListNames(fds)) {
      char target[4096];
      const ssize_t n = readlink((fds + "/" + fd).c_str(), target, sizeof target);
      struct stat info;
      if (n > 0 && std::string(target, size_t(n)).rfind(tmp_.At("edf"), 0) == 0 && stat((fds + "/" + fd).c_str(), &info) == 0)
        return info.st_size;
    }
    return -1;
  }

  testsupport::ScratchDir tmp_;  // TMPDIR of every run
  testsupport::ScratchDir scratch_;
  testsupport::ScratchDir src_;
};

std::string FileTime(time_t seconds) { return std::to_string(uint64_t(seconds) * 10000000 + 116444736000000000ull); }

TEST_F(KittoolTest, PackedTreeListsAsJson) {
  std::string bin;
  for (int i = 0; i < 256; ++i) bin.push_back(static_cast<char>(i));
  MakeFile("readme.htm", "hello", 1600000000);
  MakeFile("conf/main.cfg", "a=1\n", 1600000001);
  MakeFile("conf/sub/x.bin", bin, 1600000002);
  const std::string kit = scratch_.At("out.efd");
  Result pack = Run({"pack", "--describe", "en", "Say \"hi\"", "Vendor\\Co", "\\readme.htm", "--describe", "ru",
                     "Продукт", "V", "", "--level", "9", src_.path(), kit});
  ASSERT_EQ(pack.exit_code, 0) << pack.err;
  Result list = Run({"list", "--json", "--hash", kit});
  ASSERT_EQ(list.exit_code, 0) << list.err;
  EXPECT_EQ(Python(list.out, "d['schema'], d['descriptionFormat'], d['descriptions']"),
            "1 1 [{'language': 'en', 'product': 'Say \"hi\"', 'vendor': 'Vendor\\\\Co', 'descriptionFile': "
            "'\\\\readme.htm'}, {'language': 'ru', 'product': 'Продукт', 'vendor': 'V', 'descriptionFile': ''}]");
  EXPECT_EQ(Python(list.out, "[(e['name'], e['path'], e['size'], e['time'], e['writeTime']) for e in d['entries']]"),
            "[('conf\\\\main.cfg', 'conf/main.cfg', 4, '2020-09-13T12:26:41Z', " + FileTime(1600000001) +
                "), ('conf\\\\sub\\\\x.bin', 'conf/sub/x.bin', 256, '2020-09-13T12:26:42Z', " + FileTime(1600000002) +
                "), ('readme.htm', 'readme.htm', 5, '2020-09-13T12:26:40Z', " + FileTime(1600000000) + ")]");
  // Sizes and checksums against the files themselves; data back to back.
  EXPECT_EQ(Python(list.out, "d['kitSize'] == os.path.getsize('" + kit + "'), d['kitSha256'] == hashlib.sha256("
                             "open('" + kit + "', 'rb').read()).hexdigest(), all(e['sha256'] == hashlib.sha256("
                             "open('" + src_.path() + "/' + e['path'], 'rb').read()).hexdigest() for e in "
                             "d['entries']), [e['dataOffset'] - d['entries'][0]['dataOffset'] for e in d['entries']], "
                             "d['unpackedSize'] - d['entries'][0]['dataOffset']"),
            "True True True [0, 4, 260] 265");
  Result text = Run({"list", kit});
  ASSERT_EQ(text.exit_code, 0) << text.err;
  EXPECT_NE(text.out.find("2020-09-13 12:26:41 UTC"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("conf\\sub\\x.bin"), std::string::npos) << text.out;
  Result verify = Run({"verify", "--json", kit});
  EXPECT_EQ(verify.exit_code, 0) << verify.err;
  EXPECT_EQ(Python(verify.out, "d['schema'], d['result'], d['code'], d['entries'], d['descriptions']"), "1 ok 0 3 2");
  EXPECT_TRUE(ListNames(tmp_.path()).empty());

  // SOURCE_DATE_EPOCH: files grown newer pack to the same bytes.
  const std::vector<std::string> epoch = {"SOURCE_DATE_EPOCH=1600000001"};
  const std::string first = scratch_.At("first.efd"), second = scratch_.At("second.efd");
  ASSERT_EQ(Run({"pack", src_.path(), first}, epoch).exit_code, 0);
  const std::string touch = "touch -d @1750000000 '" + src_.At("conf/main.cfg") + "' '" + src_.At("conf/sub/x.bin") + "'";
  ASSERT_EQ(std::system(touch.c_str()), 0);
  ASSERT_EQ(Run({"pack", src_.path(), second}, epoch).exit_code, 0);
  EXPECT_TRUE(testsupport::ReadFile(first) == testsupport::ReadFile(second));
  EXPECT_EQ(Python(Run({"list", "--json", second}).out, "[e['time'][-3:] for e in d['entries']]"),
            "['41Z', '41Z', '40Z']");
}

// One table for the command line: what each mistake exits with and says.
TEST_F(KittoolTest, CommandLineCasesExitAndExplain) {
  MakeFile("a.txt", "a", 1600000000);
  MakeFile("Docs/readme.htm", "r", 1600000000);
  const std::string never = scratch_.At("never.efd");
  const std::string kit = scratch_.At("good.efd");
  ASSERT_EQ(Run({"pack", src_.path(), kit}).exit_code, 0);
  const std::string full_dir = scratch_.At("full");
  testsupport::WriteFile(full_dir + "/x", "x");
  const std::string version = "kittool " + std::string(KITSETUP_VERSION) + "\n";
  const std::string s = src_.path();
  struct Case {
    std::vector<std::string> args;
    int exit_code;
    std::string says;  // on standard error, or standard output for exit 0
    std::vector<std::string> env = {};
    std::string out_path = "";
  };
  const Case cases[] = {
      {{}, 2, "kittool: no command given\nRun 'kittool --help' for usage.\n"},
      {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
      {{"--version"}, 0, version},
      {{"pack", s}, 2, "kittool pack: expected SRC_DIR and KIT\nRun 'kittool pack --help' for usage.\n"},
      {{"pack", "--legacy", s, never}, 2, "--legacy needs exactly one --describe"},
      {{"pack", "--level", "12", s, never}, 2, "--level wants 0 to 9, not 12"},
      {{"pack", s, never, "--describe", "en", "P"}, 2, "--describe needs"},
      {{"pack", "--bogus", s, never}, 2, "unknown option --bogus"},
      {{"pack", "--describe", "EN", "P", "V", "", s, never}, 2, "unknown language \"EN\""},
      {{"pack", "--describe", "de", "P", "V", "", "--describe", "de", "Q", "W", "", s, never}, 2,
       "two descriptions for language \"de\""},
      {{"pack", "--legacy", "--describe", "de", "P", "V", "", s, never}, 2, "--legacy stores no language"},
      {{"pack", "--describe", "en", "P", "V", "\\Docs\\missing.htm", s, never}, 2,
       "description file \"\\\\Docs\\\\missing.htm\" is not in"},
      {{"pack", "--describe", "en", "P", "V", "..\\escape.htm", s, never}, 2, "the installer would refuse"},
      {{"pack", s, never}, 2, "SOURCE_DATE_EPOCH is not a count of seconds", {"SOURCE_DATE_EPOCH=yesterday"}},
      {{"pack", scratch_.At("no-such-dir"), never}, 1, "no-such-dir: not a directory (No such file or directory)"},
      {{"pack", s, scratch_.At("no-such-dir/k.efd")}, 1, "cannot create a temporary file in"},
      {{"pack", s, never}, 1, "standard output: cannot write the output (No space left on device)", {}, "/dev/full"},
      {{"list"}, 2, "kittool list: no KIT given\n"},
      {{"list", kit}, 1, "kittool list: standard output: cannot write the output", {}, "/dev/full"},
      {{"verify"}, 2, "no KIT given"},
      {{"verify", "--against"}, 2, "--against needs a directory"},
      {{"verify", scratch_.At("missing.efd")}, 3, "missing.efd: the kit file does not exist (error 2: "},
      {{"extract", kit}, 2, "expected KIT and DIR"},
      {{"extract", kit, full_dir}, 2, "full is not empty; --force writes into it"},
      {{"install", kit, never, never}, 2, "kittool install: expected KIT and TEMPLATE_DIR"},
      {{"install", kit, full_dir + "/x"}, 1, full_dir + "/x: not a directory; nothing was changed (error 3: "},
      // A name the C locale cannot convert is refused, never read as "".
      {{"install", kit, scratch_.At("tmplts-\xC3\xA9")}, 1,
       "tmplts-\xC3\xA9: the name does not convert to a file name in the current locale", {"LC_ALL=C"}},
  };
  for (const Case& c : cases) {
    std::string line;
    for (const std::string& a : c.args) line += a + " ";
    Result r = Wait(Start(c.args, c.env, c.out_path));
    EXPECT_EQ(r.exit_code, c.exit_code) << line << ": " << r.err;
    const std::string& said = c.exit_code == 0 ? r.out : r.err;
    EXPECT_NE(said.find(c.says), std::string::npos) << line << ": " << said;
    if (c.exit_code == 2) {
      EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 2) << "no usage dump: " << r.err;
    }
    if (c.exit_code == 2 || c.args[0] == "install") {
      EXPECT_NE(access(never.c_str(), F_OK), 0) << line << ": nothing is written on a refusal";
    }
    unlink(never.c_str());
  }
  // pack refuses names the installer would refuse, and writes nothing.
  for (const char* bad : {"cost$.txt", "a`b", "quote\"d", "back\\slash", "line\nbreak"}) {
    MakeFile(bad, "x", 1600000000);
    Result r = Run({"pack", s, never});
    EXPECT_EQ(r.exit_code, 1) << bad;
    EXPECT_NE(r.err.find("cannot pack"), std::string::npos) << r.err;
    EXPECT_NE(access(never.c_str(), F_OK), 0) << bad;
    unlink(src_.At(bad).c_str());
  }
  // --force packs what the description refusals above stop, and the kit loads.
  Result forced = Run({"pack", "--force", "--legacy", "--describe", "de", "P", "V", "\\Docs\\missing.htm", s, never});
  EXPECT_EQ(forced.exit_code, 0) << forced.err;
  EXPECT_EQ(Run({"verify", never}).exit_code, 0);
  ASSERT_EQ(Run({"pack", "--legacy", "--level", "0", "--describe", "en", "P", "V", "a.txt", s, never}).exit_code, 0);
  EXPECT_EQ((static_cast<unsigned char>(testsupport::ReadFile(never)[0]) >> 1) & 3, 0);  // stored blocks
  EXPECT_EQ(Python(Run({"list", "--json", never}).out, "d['descriptionFormat'], d['descriptions'][0]['language']"),
            "0 en");
  EXPECT_NE(access(scratch_.At("tmplts-\xC3\xA9").c_str(), F_OK), 0);
  EXPECT_NE(access("a.txt", F_OK), 0) << "nothing installed into the working directory";
}

TEST_F(KittoolTest, PackWarnsOfLinksAndDereferencesThem) {
  MakeFile("conf/main.cfg", "a=1\n", 1600000000);
  ASSERT_EQ(symlink("conf/main.cfg", src_.At("link.cfg").c_str()), 0);
  ASSERT_EQ(symlink("conf", src_.At("linked-dir").c_str()), 0);
  ASSERT_EQ(symlink("/nonexistent", src_.At("dangling").c_str()), 0);
  ASSERT_EQ(symlink(".", src_.At("conf/loop").c_str()), 0);
  const std::string kit = scratch_.At("k.efd");
  Result plain = Run({"pack", src_.path(), kit});
  ASSERT_EQ(plain.exit_code, 0) << plain.err;
  EXPECT_EQ(std::count(plain.err.begin(), plain.err.end(), '\n'), 4) << plain.err;
  EXPECT_NE(plain.err.find("link.cfg: symbolic link to conf/main.cfg left out"), std::string::npos) << plain.err;
  EXPECT_NE(plain.out.find("packed 1 files into " + kit + " (4 left out"), std::string::npos) << plain.out;
  Result followed = Run({"pack", "--dereference", src_.path(), kit});
  ASSERT_EQ(followed.exit_code, 0) << followed.err;
  // The dangling link and the loop, seen as conf/loop and as linked-dir/loop.
  EXPECT_NE(followed.out.find("(3 left out"), std::string::npos) << followed.out;
  EXPECT_EQ(Python(Run({"list", "--json", kit}).out, "[e['path'] for e in d['entries']]"),
            "['conf/main.cfg', 'link.cfg', 'linked-dir/main.cfg']");
}

TEST_F(KittoolTest, ExtractThenVerifyAgainstReportsEveryDifference) {
  MakeFile("Docs/readme.htm", "hello", 1600000000);
  MakeFile("conf/main.cfg", "a=1\n", 1600000001);
  MakeFile("conf/keep.cfg", "k\n", 1600000002);
  MakeFile("gone.txt", "g", 1600000003);
  const std::string kit = scratch_.At("k.efd");
  ASSERT_EQ(Run({"pack", src_.path(), kit}).exit_code, 0);
  testsupport::ScratchDir out;
  const std::string dir = out.At("tree");
  Result extract = Run({"extract", kit, dir});
  ASSERT_EQ(extract.exit_code, 0) << extract.err;
  EXPECT_EQ(extract.out, "extracted 4 files into " + dir + "\n");
  Result same = Run({"verify", "--against", dir, kit});
  EXPECT_EQ(same.exit_code, 0) << same.out << same.err;

  testsupport::WriteFile(dir + "/conf/main.cfg", "a=2\n", 1600000001);  // same size and time
  testsupport::WriteFile(dir + "/conf/keep.cfg", "k\n", 1700000000);
  unlink((dir + "/gone.txt").c_str());
  testsupport::WriteFile(dir + "/conf/extra.cfg", "e", 1600000000);
  Result text = Run({"verify", "--against", dir, kit});
  EXPECT_EQ(text.exit_code, 1);
  EXPECT_EQ(text.out, "conf/keep.cfg: time differs\nconf/main.cfg: content differs\ngone.txt: missing\n"
                      "conf/extra.cfg: extra (not in the kit)\n");
  Result json = Run({"verify", "--json", "--against", dir, kit});
  EXPECT_EQ(json.exit_code, 1);
  EXPECT_EQ(Python(json.out, "d['result'], sorted((x['kind'], x['path']) for x in d['differences'])"),
            "different [('content', 'conf/main.cfg'), ('extra', 'conf/extra.cfg'), ('missing', 'gone.txt'), "
            "('time', 'conf/keep.cfg')]");

  // --force writes into a used folder, but never through a link out of it.
  testsupport::ScratchDir elsewhere, used;
  ASSERT_EQ(symlink(elsewhere.path().c_str(), used.At("conf").c_str()), 0);
  Result refused = Run({"extract", "--force", kit, used.path()});
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_NE(refused.err.find("refused: a symbolic link stands at " + used.At("conf")), std::string::npos) << refused.err;
  EXPECT_TRUE(ListNames(elsewhere.path()).empty());
  EXPECT_TRUE(ListNames(tmp_.path()).empty());
}

// verify names the record and the check in one line; install refuses alike, touching nothing.
TEST_F(KittoolTest, VerifyAndInstallRefuseEveryHostileKitInOneLine) {
  const std::string target = scratch_.At("templates"), kit = scratch_.At("hostile.efd");
  testsupport::WriteFile(target + "/conf/main.cfg", "user's", 1500000000);
  testsupport::WriteFile(target + "/Docs/readme.htm", "user's", 1500000000);
  const kitsetup::testing::Snapshot before = kitsetup::testing::TakeSnapshot(target);
  for (const kittest::HostileKit& k : kittest::HostileKits()) {
    SCOPED_TRACE(k.label);
    if (k.stream) {
      testsupport::WriteFile(kit, k.bytes);
    } else {
      ASSERT_EQ(kitsetup::WriteDeflated(kit, k.bytes.data(), k.bytes.size()), 0u);
    }
    const std::vector<std::string> env = {std::string("LC_ALL=") + k.locale};
    Result r = Run({"verify", kit}, env);
    EXPECT_EQ(r.exit_code, 3);
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    EXPECT_NE(r.err.find(k.says), std::string::npos) << r.err;
    Result install = Run({"install", "--quiet", kit, target + "/"}, env);
    EXPECT_EQ(install.exit_code, 3) << install.err;
    EXPECT_NE(install.err.find(k.says), std::string::npos) << install.err;
    EXPECT_TRUE(kitsetup::testing::TakeSnapshot(target) == before);
    EXPECT_TRUE(ListNames(tmp_.path()).empty());
  }
  Result json = Run({"verify", "--json", kit});
  EXPECT_EQ(json.exit_code, 3);
  EXPECT_EQ(Python(json.out, "d['result'], d['code'], 'description table: 4097' in d['message']"), "refused 13 True");
}

// A signal while kittool unpacks or packs: 128 + it, nothing left or installed, the old kit kept.
TEST_F(KittoolTest, ASignalEndsEveryCommandWith128PlusItAndLeavesNothing) {
  if (access("/proc/self/fd", R_OK) != 0) GTEST_SKIP() << "needs /proc to see the unnamed staging file";
  // 256 MB of zeros: a small kit that takes a moment to unpack, and to pack.
  int fd = open(src_.At("zeros").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  ASSERT_EQ(ftruncate(fd, 256 << 20), 0);
  close(fd);
  const std::string kits = scratch_.At("kits"), kit = kits + "/zeros.efd", templ = scratch_.At("templates");
  testsupport::MakeDirs(kits);
  ASSERT_EQ(Run({"pack", "--level", "1", src_.path(), kit}).exit_code, 0);
  const std::string old_kit = testsupport::ReadFile(kit);
  const std::pair<std::vector<std::string>, int> kCases[] = {{{"verify", kit}, SIGINT},
                                                             {{"list", "--json", kit}, SIGHUP},
                                                             {{"install", "--quiet", kit, templ}, SIGTERM},
                                                             {{"pack", "--level", "9", src_.path(), kit}, SIGINT}};
  for (const auto& [args, signal_number] : kCases) {
    SCOPED_TRACE(args[0] + " " + strsignal(signal_number));
    pid_t pid = Start(args);
    // Stopped once it is at work, so the signal lands mid-work however loaded the machine.
    const bool packing = args[0] == "pack";
    auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while ((packing ? ListNames(kits).size() < 2 : OpenStagingBytes(pid) <= 0) &&
           std::chrono::steady_clock::now() < give_up)
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    kill(pid, SIGSTOP);
    if (!packing) {
      const int64_t unpacked = OpenStagingBytes(pid);
      EXPECT_GT(unpacked, 0);
      EXPECT_LT(unpacked, int64_t{256} << 20);
    }
    EXPECT_TRUE(ListNames(tmp_.path()).empty()) << "the staging file has no name while it fills";
    kill(pid, signal_number);
    kill(pid, SIGCONT);
    Result r = Wait(pid);
    EXPECT_EQ(r.exit_code, 128 + signal_number) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_TRUE(ListNames(tmp_.path()).empty());
    EXPECT_EQ(ListNames(kits), std::vector<std::string>{"zeros.efd"});
    EXPECT_TRUE(testsupport::ReadFile(kit) == old_kit);
    EXPECT_NE(access(templ.c_str(), F_OK), 0);
  }
}

}  // namespace
