// The handle-based file layer on real files, pipes and devices, including the
// quirks the copy step depends on.
#include "kit/file_handle.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "core/error_codes.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::ReadFile;
using testsupport::ScratchDir;
using testsupport::Text;
using testsupport::WriteFile;
namespace fs = std::filesystem;

class FileHandles : public ::testing::Test {
 protected:
  FileHandle Open(const std::string& path, uint32_t access, uint32_t disposition) {
    FileHandle handle = kNoHandle;
    EXPECT_EQ(OpenFileHandle(Text(path), access, 0, disposition, &handle), kOk) << path;
    return handle;
  }
  ScratchDir dir_;
};

TEST_F(FileHandles, DispositionsAndOpenFailures) {
  const std::string file = dir_.At("f");
  WriteFile(file, std::string(100, 'x'));
  FileHandle h = Open(file, kAccessWrite, kDispositionCreate);
  uint32_t written = 0;
  ASSERT_EQ(WriteFileHandle(h, "0123456789", 10, &written, nullptr), kOk);
  EXPECT_EQ(written, 10u);
  EXPECT_EQ(fs::file_size(file), 100u);  // create keeps the old tail...
  EXPECT_EQ(TruncateFileHandle(h), kOk);
  EXPECT_EQ(fs::file_size(file), 10u);  // ...until it is cut at the position
  CloseFileHandle(h);

  CloseFileHandle(Open(file, kAccessReadWrite, kDispositionTruncateExisting));
  EXPECT_EQ(fs::file_size(file), 0u);

  const mode_t old = umask(0);
  CloseFileHandle(Open(dir_.At("new"), kAccessWrite, kDispositionCreate));
  umask(old);
  EXPECT_EQ(fs::status(dir_.At("new")).permissions(), static_cast<fs::perms>(0660));

  FileHandle untouched = 1234;
  EXPECT_EQ(OpenFileHandle(Text(dir_.At("none")), kAccessRead, 0, kDispositionOpenExisting, &untouched),
            kErrNotFound);
  EXPECT_EQ(LastFileError(), kErrNotFound);
  EXPECT_EQ(OpenFileHandle(Text(dir_.path()), kAccessWrite, 0, kDispositionOpenExisting, &untouched),
            kErrInvalidParameter);  // a directory cannot be written
  EXPECT_EQ(untouched, 1234);
  EXPECT_FALSE(fs::exists(dir_.At("none")));
}

TEST_F(FileHandles, OpenFaultHookAnswersFirst) {
  SetOpenFaultHook([](const TextString&, uint32_t, uint32_t) -> uint32_t { return kErrCannotCreate; });
  FileHandle h = kNoHandle;
  const uint32_t code = OpenFileHandle(Text(dir_.At("x")), kAccessWrite, 0, kDispositionCreate, &h);
  SetOpenFaultHook(nullptr);
  EXPECT_EQ(code, kErrCannotCreate);
  EXPECT_EQ(LastFileError(), kErrCannotCreate);
  EXPECT_EQ(h, kNoHandle);
  EXPECT_FALSE(fs::exists(dir_.At("x")));
}

TEST_F(FileHandles, ReadsLoopToTheSizeAndStopQuietlyAtTheEnd) {
  WriteFile(dir_.At("f"), std::string(60, 'a') + std::string(40, 'b'));
  FileHandle h = Open(dir_.At("f"), kAccessRead, kDispositionOpenExisting);
  char buffer[100];
  uint32_t got = 0;
  ASSERT_EQ(SeekFileHandle(h, 60, nullptr, kSeekBegin), 60u);
  EXPECT_EQ(ReadFileHandle(h, buffer, 100, &got, nullptr), kOk);
  EXPECT_EQ(got, 40u);
  EXPECT_EQ(std::string(buffer, 40), std::string(40, 'b'));

  EXPECT_EQ(ReadFileHandle(h, buffer, 10, nullptr, nullptr), kErrInvalidParameter);
  EXPECT_EQ(LastFileError(), kErrInvalidParameter);
  int reserved = 0;
  EXPECT_EQ(ReadFileHandle(h, buffer, 10, nullptr, &reserved), kOk);
  EXPECT_EQ(LastFileError(), kOk);
  CloseFileHandle(h);

  FileHandle w = Open(dir_.At("f"), kAccessWrite, kDispositionOpenExisting);
  EXPECT_EQ(ReadFileHandle(w, buffer, 10, &got, nullptr), kErrInvalidParameter);
  CloseFileHandle(w);

  // A pipe delivers in pieces; the loop gathers all of them.
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  std::thread writer([&] {
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(write(fds[1], "0123456789", 10), 10);
      usleep(20000);
    }
    close(fds[1]);
  });
  EXPECT_EQ(ReadFileHandle(fds[0], buffer, 100, &got, nullptr), kOk);
  writer.join();
  close(fds[0]);
  EXPECT_EQ(got, 30u);
}

TEST_F(FileHandles, WritesReportSuccessWhateverHappened) {
  uint32_t written = 0;
  EXPECT_EQ(WriteFileHandle(kNoHandle, "x", 1, nullptr, nullptr), kErrInvalidParameter);
  EXPECT_EQ(WriteFileHandle(kNoHandle, "x", 1, &written, nullptr), kErrInvalidHandle);
  EXPECT_EQ(LastFileError(), kErrInvalidHandle);

  WriteFile(dir_.At("f"), "");
  FileHandle h = Open(dir_.At("f"), kAccessRead, kDispositionOpenExisting);
  int reserved = 0;
  EXPECT_EQ(WriteFileHandle(h, "x", 1, nullptr, &reserved), kOk);
  EXPECT_EQ(WriteFileHandle(h, "x", 1, &written, nullptr), kOk);  // read-only handle
  EXPECT_EQ(written, 0xFFFFFFFFu);
  EXPECT_EQ(TruncateFileHandle(h), kErrInvalidParameter);
  CloseFileHandle(h);
  EXPECT_EQ(fs::file_size(dir_.At("f")), 0u);

  if (access("/dev/full", W_OK) == 0) {  // a full disk
    FileHandle full = Open("/dev/full", kAccessWrite, kDispositionOpenExisting);
    EXPECT_EQ(WriteFileHandle(full, "abc", 3, &written, nullptr), kOk);
    EXPECT_NE(written, 3u);
    CloseFileHandle(full);
  }
}

TEST_F(FileHandles, SeeksUseTwoHalvesAndFailWithoutAnError) {
  WriteFile(dir_.At("f"), std::string(100, 'x'));
  FileHandle h = Open(dir_.At("f"), kAccessRead, kDispositionOpenExisting);
  EXPECT_EQ(SeekFileHandle(h, -10, nullptr, kSeekEnd), 90u);
  EXPECT_EQ(SeekFileHandle(h, 5, nullptr, kSeekCurrent), 95u);
  EXPECT_EQ(SeekFileHandle(h, 7, nullptr, 9), 7u);  // unknown origin: from the start
  int32_t high = 1;
  EXPECT_EQ(SeekFileHandle(h, 3, &high, kSeekBegin), 3u);  // 4 GiB + 3
  EXPECT_EQ(high, 1);
  EXPECT_EQ(lseek(static_cast<int>(h), 0, SEEK_CUR), (off_t{1} << 32) + 3);

  ASSERT_NE(OpenFileHandle(Text(dir_.At("none")), kAccessRead, 0, 3, &h), kOk);
  EXPECT_EQ(SeekFileHandle(h, -1000, nullptr, kSeekBegin), 0xFFFFFFFFu);
  EXPECT_EQ(LastFileError(), kOk);
  EXPECT_EQ(SeekFileHandle(kNoHandle, 0, nullptr, kSeekBegin), 0xFFFFFFFFu);
  EXPECT_EQ(LastFileError(), kErrInvalidHandle);

  // Close leaves the last error alone when it succeeds.
  CloseFileHandle(h);
  EXPECT_EQ(LastFileError(), kErrInvalidHandle);
  CloseFileHandle(kNoHandle);
  EXPECT_EQ(LastFileError(), kErrInvalidParameter);
}

TEST_F(FileHandles, TimesAreWholeSecondsSince1601) {
  EXPECT_EQ(FileTimeToUnixSeconds(116444736000000000ull), 0);
  EXPECT_EQ(FileTimeToUnixSeconds(116444736009999999ull), 0);
  EXPECT_EQ(FileTimeToUnixSeconds(0), -11644473600ll);
  EXPECT_EQ(UnixSecondsToFileTime(1), 116444736010000000ull);

  WriteFile(dir_.At("f"), "x");
  FileHandle h = Open(dir_.At("f"), kAccessWrite, kDispositionOpenExisting);
  const uint64_t epoch = 116444736000000000ull;
  ASSERT_EQ(SetFileHandleTime(h, nullptr, nullptr, &epoch), kOk);
  struct stat info {};
  ASSERT_EQ(stat(dir_.At("f").c_str(), &info), 0);
  EXPECT_EQ(info.st_mtime, 0);
  EXPECT_EQ(info.st_atime, 0);

  const uint64_t later = UnixSecondsToFileTime(1000000000) + 5;  // sub-second part dropped
  ASSERT_EQ(SetFileHandleTime(h, nullptr, nullptr, &later), kOk);
  uint64_t creation = 0, accessed = 0, written = 0;
  ASSERT_EQ(GetFileHandleTimes(h, &creation, &accessed, &written), kOk);
  EXPECT_EQ(written, UnixSecondsToFileTime(1000000000));
  EXPECT_EQ(accessed, written);
  EXPECT_GT(creation, written);  // the change time is now
  EXPECT_EQ(GetFileHandleTimes(h, nullptr, nullptr, nullptr), kOk);

  errno = ENOENT;
  EXPECT_EQ(SetFileHandleTime(h, nullptr, nullptr, nullptr), kErrNotFound);
  errno = EBADF;
  EXPECT_EQ(SetFileHandleTime(h, nullptr, nullptr, nullptr), kErrInvalidParameter);
  CloseFileHandle(h);
  EXPECT_EQ(SetFileHandleTime(kNoHandle, nullptr, nullptr, &epoch), kErrInvalidHandle);
  EXPECT_EQ(GetFileHandleTimes(kNoHandle, &written, nullptr, nullptr), kErrInvalidHandle);
  EXPECT_EQ(TruncateFileHandle(kNoHandle), kErrInvalidHandle);
}

}  // namespace
}  // namespace kitsetup
