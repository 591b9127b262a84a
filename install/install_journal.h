// install/install_journal.h: the run's journal, an append-only file in its
// backup directory that makes a crash recoverable. It names the template
// directory and the staging file, then lists the changes the run may make
// (the plan's in one batch, written and flushed before the first change;
// any change the plan did not foresee one by one, each flushed before it is
// made), and ends with a record saying the template directory is final.
//
// The run holds an exclusive flock on the journal for its whole life: the
// file is made under a temporary name, locked, filled, flushed and only then
// renamed into place, so a journal whose lock is free belongs to a run whose
// process has ended. The lock goes with the process however it ends.
#ifndef KITSETUP_INSTALL_INSTALL_JOURNAL_H
#define KITSETUP_INSTALL_INSTALL_JOURNAL_H

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "core/text_string.h"
#include "install/template_change.h"

namespace kitsetup {

// Kit names never hold "$", so no entry can land on these names.
extern const char kJournalName[];      // "journal$"
extern const char kJournalPartName[];  // "journal$.part", before the rename

struct JournalContents {
  TextString templateDirectory;
  TextString stagingPath;
  std::vector<TemplateChange> changes;  // in the order written
  bool final = false;  // the template directory is final: only the backup remains
};

class InstallJournal {
 public:
  InstallJournal() = default;
  ~InstallJournal() { Close(); }
  InstallJournal(const InstallJournal&) = delete;
  InstallJournal& operator=(const InstallJournal&) = delete;

  // Makes, locks, fills and flushes the journal of the backup directory
  // `backup_directory` (ending in "/") with the header and `planned`, then
  // renames it into place. 0, or 87 when any step fails (nothing is then
  // left but the part file, which recovery removes).
  uint32_t Begin(const TextString& backup_directory, const TextString& template_directory,
                 const TextString& staging_path, const std::vector<TemplateChange>& planned);

  // Opens the journal at `path` of a run whose process has ended, and takes
  // its lock for as long as it stays open. 0; 32 when a live run holds it;
  // 2 when it cannot be opened.
  uint32_t Adopt(const std::string& path);

  // Writes and flushes `change` unless Begin's batch already holds it. 0 or 87.
  uint32_t Record(const TemplateChange& change);

  // Writes and flushes the record that the template directory is final. 0 or 87.
  uint32_t MarkFinal();

  bool open() const { return fd_ >= 0; }
  void Close();  // lets go of the lock (the file stays)

 private:
  uint32_t Write(const std::string& bytes);

  int fd_ = -1;
  std::string path_;
  std::unordered_set<std::u16string> written_;  // kind + path of each change recorded
};

// Removes a run's backup directory (ending in "/"), its journal last: a
// crash midway leaves the journal to say what is left to do.
void RemoveBackupDirectory(const TextString& backup_directory);

// Reads the journal at `path`. 0; 13 when it is not a journal. A record cut
// short by a crash ends the list: its change was never made.
uint32_t ReadJournal(const std::string& path, JournalContents& contents);

}  // namespace kitsetup

#endif
