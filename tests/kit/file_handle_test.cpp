// The handle-based file layer on real files, pipes and devices, including the
// quirks the copy step depends on.
#include "kit/file_handle.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "core/error_codes.h"
#include "support/test_support.h"

namespace kitsetup {
namespace {

using testsupport::Text;
namespace fs = std::filesystem;

FileHandle Open(const std::string& path, uint32_t access, uint32_t disposition) {
  FileHandle handle = kNoHandle;
  EXPECT_EQ(OpenFileHandle(Text(path), access, 0, disposition, &handle), kOk) << path;
  return handle;
}

TEST(FileHandles, OpenReadWriteAndTruncateKeepTheirQuirks) {
  testsupport::ScratchDir dir;
  const std::string file = dir.At("f");
  testsupport::WriteFile(file, std::string(60, 'a') + std::string(40, 'b'));
  FileHandle h = Open(file, kAccessRead, kDispositionOpenExisting);
  char buffer[100];
  uint32_t got = 0, written = 0;
  int reserved = 0;
  // A read stops quietly at the end; without a count it needs the reserved pointer.
  ASSERT_EQ(SeekFileHandle(h, 60, nullptr, kSeekBegin), 60u);
  EXPECT_EQ(ReadFileHandle(h, buffer, 100, &got, nullptr), kOk);
  EXPECT_EQ(std::string(buffer, got), std::string(40, 'b'));
  EXPECT_EQ(ReadFileHandle(h, buffer, 10, nullptr, nullptr), kErrInvalidParameter);
  EXPECT_EQ(LastFileError(), kErrInvalidParameter);
  EXPECT_EQ(ReadFileHandle(h, buffer, 10, nullptr, &reserved), kOk);
  EXPECT_EQ(LastFileError(), kOk);
  // Writing through a read-only handle "succeeds" with a count of all ones.
  EXPECT_EQ(WriteFileHandle(h, "x", 1, &written, nullptr), kOk);
  EXPECT_EQ(written, 0xFFFFFFFFu);
  EXPECT_EQ(TruncateFileHandle(h), kErrInvalidParameter);
  CloseFileHandle(h);
  EXPECT_EQ(WriteFileHandle(kNoHandle, "x", 1, nullptr, nullptr), kErrInvalidParameter);
  EXPECT_EQ(WriteFileHandle(kNoHandle, "x", 1, &written, nullptr), kErrInvalidHandle);

  h = Open(file, kAccessWrite, kDispositionCreate);
  EXPECT_EQ(ReadFileHandle(h, buffer, 10, &got, nullptr), kErrInvalidParameter);
  ASSERT_EQ(WriteFileHandle(h, "0123456789", 10, &written, nullptr), kOk);
  EXPECT_EQ(written, 10u);
  EXPECT_EQ(fs::file_size(file), 100u);  // create keeps the old tail...
  EXPECT_EQ(TruncateFileHandle(h), kOk);
  EXPECT_EQ(fs::file_size(file), 10u);  // ...until it is cut at the position
  CloseFileHandle(h);
  CloseFileHandle(Open(file, kAccessReadWrite, kDispositionTruncateExisting));
  EXPECT_EQ(fs::file_size(file), 0u);
  const mode_t old = umask(0);
  CloseFileHandle(Open(dir.At("new"), kAccessWrite, kDispositionCreate));
  umask(old);
  EXPECT_EQ(fs::status(dir.At("new")).permissions(), static_cast<fs::perms>(0660));
  FileHandle untouched = 1234;
  EXPECT_EQ(OpenFileHandle(Text(dir.At("none")), kAccessRead, 0, kDispositionOpenExisting, &untouched), kErrNotFound);
  EXPECT_EQ(LastFileError(), kErrNotFound);
  EXPECT_EQ(OpenFileHandle(Text(dir.path()), kAccessWrite, 0, kDispositionOpenExisting, &untouched),
            kErrInvalidParameter);  // a directory cannot be written
  EXPECT_EQ(untouched, 1234);
  EXPECT_FALSE(fs::exists(dir.At("none")));

  // A pipe delivers in pieces; the read loop gathers all of them.
  FILE* pieces = popen("for i in 1 2 3; do printf 0123456789; sleep 0.02; done", "r");
  ASSERT_NE(pieces, nullptr);
  EXPECT_EQ(ReadFileHandle(fileno(pieces), buffer, 100, &got, nullptr), kOk);
  pclose(pieces);
  EXPECT_EQ(got, 30u);
}

TEST(FileHandles, SeeksUseTwoHalvesAndTimesAreWholeSecondsSince1601) {
  testsupport::ScratchDir dir;
  testsupport::WriteFile(dir.At("f"), std::string(100, 'x'));
  FileHandle h = Open(dir.At("f"), kAccessReadWrite, kDispositionOpenExisting);
  EXPECT_EQ(SeekFileHandle(h, -10, nullptr, kSeekEnd), 90u);
  EXPECT_EQ(SeekFileHandle(h, 5, nullptr, kSeekCurrent), 95u);
  EXPECT_EQ(SeekFileHandle(h, 7, nullptr, 9), 7u);  // unknown origin: from the start
  int32_t high = 1;
  EXPECT_EQ(SeekFileHandle(h, 3, &high, kSeekBegin), 3u);  // 4 GiB + 3
  EXPECT_EQ(high, 1);
  EXPECT_EQ(lseek(static_cast<int>(h), 0, SEEK_CUR), (off_t{1} << 32) + 3);
  // A failed seek answers all ones and leaves the last error at 0.
  EXPECT_EQ(SeekFileHandle(h, -1000, nullptr, kSeekBegin), 0xFFFFFFFFu);
  EXPECT_EQ(LastFileError(), kOk);

  EXPECT_EQ(FileTimeToUnixSeconds(116444736009999999ull), 0);
  EXPECT_EQ(FileTimeToUnixSeconds(0), -11644473600ll);
  const uint64_t later = UnixSecondsToFileTime(1000000000) + 5;  // sub-second part dropped
  ASSERT_EQ(SetFileHandleTime(h, nullptr, nullptr, &later), kOk);
  struct stat info {};
  ASSERT_EQ(stat(dir.At("f").c_str(), &info), 0);
  EXPECT_EQ(info.st_mtime, 1000000000);
  EXPECT_EQ(info.st_atime, 1000000000);
  uint64_t creation = 0, accessed = 0, written = 0;
  ASSERT_EQ(GetFileHandleTimes(h, &creation, &accessed, &written), kOk);
  EXPECT_EQ(written, UnixSecondsToFileTime(1000000000));
  EXPECT_EQ(accessed, written);
  EXPECT_GT(creation, written);  // the change time is now
  CloseFileHandle(h);
}

}  // namespace
}  // namespace kitsetup
