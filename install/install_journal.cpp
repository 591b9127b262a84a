// install/install_journal.cpp: the journal's records on disk. Each record is
// one byte of kind and its paths, each path a 32-bit count of UTF-16 units
// and the units (little-endian), so any name, line breaks included, reads
// back as written.
#include "install/install_journal.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_fault.h"
#include "core/file_system.h"
#include "install/durability.h"

namespace kitsetup {

const char kJournalName[] = "journal$";
const char kJournalPartName[] = "journal$.part";

namespace {

const char kMagic[8] = {'k', 's', 'j', 'o', 'u', 'r', 'n', '1'};
const char kFinal = 'F';

char KindByte(ChangeKind kind) {
  switch (kind) {
    case ChangeKind::kMadeDirectory: return 'D';
    case ChangeKind::kMovedToBackup: return 'M';
    case ChangeKind::kWroteFile: return 'W';
  }
  return '?';
}

void PutPath(std::string& out, const TextString& path) {
  const uint32_t n = static_cast<uint32_t>(path.length());
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<char>(n >> shift));
  for (size_t i = 0; i < path.length(); ++i) {
    out.push_back(static_cast<char>(path[i] & 0xFF));
    out.push_back(static_cast<char>(path[i] >> 8));
  }
}

bool GetPath(const std::string& in, size_t& at, TextString& path) {
  if (in.size() - at < 4) return false;
  uint32_t n = 0;
  for (int k = 0; k < 4; ++k) n |= static_cast<uint32_t>(static_cast<unsigned char>(in[at + k])) << (8 * k);
  at += 4;
  if ((in.size() - at) / 2 < n) return false;
  std::u16string units(n, u'\0');
  for (uint32_t i = 0; i < n; ++i, at += 2)
    units[i] = static_cast<char16_t>(static_cast<unsigned char>(in[at]) |
                                     static_cast<unsigned char>(in[at + 1]) << 8);
  path = TextString(units.data(), units.size());
  return true;
}

std::string Encode(const TemplateChange& change) {
  std::string out(1, KindByte(change.kind));
  PutPath(out, change.path);
  if (change.kind == ChangeKind::kMovedToBackup) PutPath(out, change.backupPath);
  return out;
}

std::u16string Key(const TemplateChange& change) {
  std::u16string key(1, static_cast<char16_t>(KindByte(change.kind)));
  key.append(change.path.data(), change.path.length());
  return key;
}

}  // namespace

uint32_t InstallJournal::Begin(const TextString& backup_directory, const TextString& template_directory,
                               const TextString& staging_path, const std::vector<TemplateChange>& planned) {
  Close();
  const std::string directory = ToLocaleBytes(backup_directory).c_str();
  const std::string part = directory + kJournalPartName;
  path_ = directory + kJournalName;
  if (InjectedFileFault(FileOp::kOpen, part.c_str())) return kErrInvalidParameter;
  fd_ = ::open(part.c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600);
  if (fd_ < 0) return kErrInvalidParameter;
  // Never fails on a file of our own, fresh: only a volume that cannot lock
  // refuses, and there the template directory's lock is the one witness.
  flock(fd_, LOCK_EX | LOCK_NB);

  std::string bytes(kMagic, sizeof kMagic);
  PutPath(bytes, template_directory);
  PutPath(bytes, staging_path);
  for (const TemplateChange& change : planned) {
    bytes += Encode(change);
    written_.insert(Key(change));
  }
  if (Write(bytes) != kOk || InjectedFileFault(FileOp::kMove, part.c_str()) ||
      rename(part.c_str(), path_.c_str()) != 0 || FlushDirectory(directory.c_str()) != 0) {
    Close();
    unlink(part.c_str());
    unlink(path_.c_str());
    return kErrInvalidParameter;
  }
  return kOk;
}

uint32_t InstallJournal::Adopt(const std::string& path) {
  Close();
  fd_ = ::open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC);
  if (fd_ < 0) return kErrNotFound;
  if (flock(fd_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    Close();
    return kErrSharingViolation;
  }
  path_ = path;
  return kOk;
}

uint32_t InstallJournal::Record(const TemplateChange& change) {
  if (fd_ < 0) return kOk;  // a run without a backup directory has nothing to journal
  if (!written_.insert(Key(change)).second) return kOk;
  return Write(Encode(change));
}

uint32_t InstallJournal::MarkFinal() {
  if (fd_ < 0) return kOk;
  const off_t size = lseek(fd_, 0, SEEK_END);
  if (Write(std::string(1, kFinal)) == kOk) return kOk;
  // The record may be in the file without being flushed: the run now rolls
  // back, and a crash during that must not find it final.
  if (size >= 0 && ftruncate(fd_, size) == 0) FlushFileData(fd_);
  return kErrInvalidParameter;
}

uint32_t InstallJournal::Write(const std::string& bytes) {
  if (InjectedFileFault(FileOp::kWrite, path_.c_str()) || !WriteFully(fd_, bytes.data(), bytes.size()))
    return kErrInvalidParameter;
  if (InjectedFileFault(FileOp::kFlush, path_.c_str()) || FlushFileData(fd_) != 0) return kErrInvalidParameter;
  return kOk;
}

void InstallJournal::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  written_.clear();
}

void RemoveBackupDirectory(const TextString& backup_directory) {
  const ByteString directory = ToLocaleBytes(backup_directory);
  if (directory.empty()) return;
  std::vector<std::string> others;
  if (DIR* listing = opendir(directory.c_str())) {
    while (const dirent* entry = readdir(listing)) {
      const std::string name = entry->d_name;
      if (name != "." && name != ".." && name != kJournalName) others.push_back(name);
    }
    closedir(listing);
  }
  for (const std::string& name : others) {
    const std::string path = std::string(directory.c_str()) + name;
    if (InjectedFileFault(FileOp::kRemove, path.c_str())) continue;
    RemoveTree(FromLocaleBytes(path.c_str(), path.size()));
  }
  const std::string journal = std::string(directory.c_str()) + kJournalName;
  if (InjectedFileFault(FileOp::kRemove, journal.c_str())) return;
  unlink(journal.c_str());
  RemoveTree(backup_directory);
}

uint32_t ReadJournal(const std::string& path, JournalContents& contents) {
  contents = JournalContents();
  std::string in;
  FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return kErrNotFound;
  char buffer[1 << 16];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, file)) > 0;) in.append(buffer, n);
  std::fclose(file);
  if (in.size() < sizeof kMagic || in.compare(0, sizeof kMagic, kMagic, sizeof kMagic) != 0)
    return kErrInvalidData;
  size_t at = sizeof kMagic;
  if (!GetPath(in, at, contents.templateDirectory) || !GetPath(in, at, contents.stagingPath))
    return kErrInvalidData;
  while (at < in.size()) {
    const char kind = in[at++];
    TemplateChange change;
    if (kind == kFinal) {
      contents.final = true;
      continue;
    }
    if (kind == 'D') change.kind = ChangeKind::kMadeDirectory;
    else if (kind == 'M') change.kind = ChangeKind::kMovedToBackup;
    else if (kind == 'W') change.kind = ChangeKind::kWroteFile;
    else break;
    if (!GetPath(in, at, change.path)) break;
    if (kind == 'M' && !GetPath(in, at, change.backupPath)) break;
    contents.changes.push_back(change);
  }
  return kOk;
}

}  // namespace kitsetup
