// kittool install: installs a kit into a template directory the way the
// wizard does (the same job on the same worker thread, through the same
// channel), showing its progress on standard error.
#include <signal.h>
#include <sys/ioctl.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "core/utf8.h"
#include "core/encoding.h"
#include "core/error_codes.h"
#include "core/file_system.h"
#include "core/messages.h"
#include "install/install_plan.h"
#include "install/progress_channel.h"
#include "install/template_lock.h"
#include "install/worker_thread.h"
#include "kit/distribution_kit.h"
#include "kit/file_handle.h"
#include "launcher/template_dirs.h"
#include "tools/kittool/cli_report.h"
#include "tools/kittool/cli_util.h"
#include "tools/kittool/commands.h"
#include "tools/kittool/install_outcome.h"
#include "tools/kittool/interrupts.h"

namespace kittool {
namespace {

using kitsetup::TextString;

const char kInstallUsage[] =
    "usage: kittool install [--dry-run] [--json] [--quiet] [--register] KIT TEMPLATE_DIR\n"
    "\n"
    "Installs every file of KIT into TEMPLATE_DIR. Files that are as new as the\n"
    "kit's are kept; replaced files are backed up and put back if the\n"
    "installation fails or is interrupted (Ctrl-C, SIGTERM, SIGHUP, a closed pipe),\n"
    "and whatever it created is removed again, so TEMPLATE_DIR is then exactly\n"
    "as before. Only one installation into TEMPLATE_DIR runs at a time.\n"
    "\n"
    "  --dry-run, -n  write nothing: print the plan (\"add\", \"replace\" or \"keep\"\n"
    "                 and the path for each file, the folders to make, a summary),\n"
    "                 or refuse exactly where the installation would refuse\n"
    "  --json         print one JSON object on standard output when done, whatever\n"
    "                 the outcome (schema 1): {\"schema\": 1, \"result\": \"installed\" |\n"
    "                 \"unchanged\" | \"failed\" | \"cancelled\" | \"refused\", \"dryRun\",\n"
    "                 \"templateDirectory\", \"added\", \"replaced\", \"kept\", \"bytes\",\n"
    "                 \"code\", \"message\", \"failedAt\"}; all else goes to standard error\n"
    "  --quiet, -q    print errors only\n"
    "  --register     on success, put TEMPLATE_DIR (absolute) first in the\n"
    "                 launcher's list of template directories, once, as the\n"
    "                 installer does\n"
    "  --version      print the version\n"
    "\n"
    "An installation that a crash or a kill cut short (into any directory) is\n"
    "rolled back first (not by --dry-run, which writes nothing): see 'kittool\n"
    "recover'.\n"
    "\n"
    "Exit codes: 0 installed or already up to date (with --dry-run: would be);\n"
    "1 failed and rolled back, TEMPLATE_DIR cannot take the kit (nothing\n"
    "written), or --register could not update a launcher file (the files are\n"
    "installed); 2 bad usage; 3 kit missing or refused; 4 another installation\n"
    "into TEMPLATE_DIR is running; 128 + N interrupted by signal N (rolled back).\n";

// UTF-8 for the terminal, converted without the locale: the locale
// conversions switch the process locale, which the worker thread is doing at
// the same time.
std::string Bytes(const TextString& text) { return kitsetup::Utf8(text); }

TextString Text(const char* bytes) { return kitsetup::FromLocaleBytes(bytes, std::strlen(bytes)); }

double Seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec + now.tv_nsec / 1e9;
}

std::string Amount(uint64_t bytes) {
  char out[32];
  if (bytes < 1024)
    std::snprintf(out, sizeof out, "%u B", static_cast<unsigned>(bytes));
  else if (bytes < 1024 * 1024)
    std::snprintf(out, sizeof out, "%.1f KB", bytes / 1024.0);
  else
    std::snprintf(out, sizeof out, "%.1f MB", bytes / (1024.0 * 1024.0));
  return out;
}

// Draws the progress. The channel says which file is being processed; the
// kit's entry table (processed in order) turns that into files and bytes done.
class ProgressView {
 public:
  ProgressView(const kitsetup::DistributionKit& kit, const TextString& directory, bool quiet)
      : kit_(kit), directory_(directory), quiet_(quiet), tty_(isatty(STDERR_FILENO) == 1) {
    start_ = Seconds();
    for (const kitsetup::KitEntry& entry : kit.entries) total_bytes_ += entry.dataSize;
  }

  void Update(int32_t percent, const TextString& text, bool final_state) {
    if (quiet_) return;
    bool finished = final_state && percent >= 100;
    if (finished) {
      cursor_ = kit_.entries.size();
      done_bytes_ = total_bytes_;
      current_.clear();
    } else {
      Advance(text);
    }
    double now = Seconds();
    bool file_changed = cursor_ != drawn_cursor_;
    bool percent_changed = percent != drawn_percent_;
    if (!finished && !percent_changed && !file_changed) return;
    // A terminal line is redrawn in place, up to 20 times a second; a log
    // gets a line for each percent and at most 10 more a second.
    double gap = tty_ ? 0.05 : 0.1;
    if (!finished && !percent_changed && now - last_draw_ < gap) return;
    if (!finished && tty_ && now - last_draw_ < gap) return;
    Draw(percent, now);
    drawn_cursor_ = cursor_;
    drawn_percent_ = percent;
    last_draw_ = now;
  }

  void EndLine() {
    if (!quiet_ && tty_ && last_draw_ > 0) std::fputc('\n', stderr);
  }

 private:
  // Moves the cursor forward to the entry whose target the channel shows.
  void Advance(const TextString& text) {
    if (text.length() <= directory_.length()) return;
    for (size_t i = cursor_; i < kit_.entries.size(); ++i) {
      if (NamesTarget(kit_.entries[i].name, text)) {
        for (size_t j = cursor_; j < i; ++j) done_bytes_ += kit_.entries[j].dataSize;
        cursor_ = i;
        current_ = Bytes(text.substr(directory_.length()));
        return;
      }
    }
  }

  bool NamesTarget(const TextString& name, const TextString& target) const {
    size_t base = directory_.length();
    if (target.length() != base + name.length()) return false;
    for (size_t k = 0; k < name.length(); ++k) {
      char16_t unit = name[k] == u'\\' ? u'/' : name[k];
      if (target[base + k] != unit) return false;
    }
    return true;
  }

  void Draw(int32_t percent, double now) {
    const int kBar = 24;
    int shown = percent < 0 ? 0 : percent > 100 ? 100 : percent;
    int filled = shown * kBar / 100;
    std::string bar(filled, '#');
    bar.append(kBar - filled, '-');
    long elapsed = static_cast<long>(now - start_);
    char head[160];
    std::snprintf(head, sizeof head, "[%s] %3d%%  %zu/%zu files  %s/%s  %ld:%02ld", bar.c_str(), shown,
                  cursor_, kit_.entries.size(), Amount(done_bytes_).c_str(),
                  Amount(total_bytes_).c_str(), elapsed / 60, elapsed % 60);
    std::string line = head;
    if (!current_.empty()) line += "  " + current_;
    if (tty_) {
      winsize size{};
      size_t width = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col ? size.ws_col : 80;
      if (line.size() >= width) line.resize(width - 1);
      std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
    } else {
      std::fprintf(stderr, "%s\n", line.c_str());
    }
    std::fflush(stderr);
  }

  const kitsetup::DistributionKit& kit_;
  TextString directory_;
  bool quiet_;
  bool tty_;
  double start_ = 0;
  double last_draw_ = 0;
  size_t cursor_ = 0;
  size_t drawn_cursor_ = static_cast<size_t>(-1);
  int32_t drawn_percent_ = -1;
  uint64_t done_bytes_ = 0;
  uint64_t total_bytes_ = 0;
  std::string current_;
};

// Every post of the job, handed from the worker thread to the main thread,
// so that a short run's files are not lost between two polls.
struct PostFeed {
  struct Item {
    uint32_t code;
    TextString text;
    int32_t percent;
  };
  std::mutex mutex;
  std::vector<Item> pending;  // bounded: a slow terminal must not grow it
  TextString last_target;     // the last file posted (read after the join)

  static void Observe(void* context, uint32_t code, const TextString& text, int32_t percent) {
    auto* feed = static_cast<PostFeed*>(context);
    std::lock_guard<std::mutex> hold(feed->mutex);
    Item item{code, TextString(), percent};
    item.text.assign(text.data(), text.length());
    if (code == kitsetup::kOk && percent < 100) feed->last_target.assign(text.data(), text.length());
    if (feed->pending.size() < 4096)
      feed->pending.push_back(std::move(item));
    else
      feed->pending.back() = std::move(item);
  }

  void Drain(ProgressView& view) {
    std::vector<Item> items;
    {
      std::lock_guard<std::mutex> hold(mutex);
      items.swap(pending);
    }
    for (const Item& item : items)
      if (item.code == kitsetup::kOk) view.Update(item.percent, item.text, item.percent >= 100);
  }
};

// The rollback's progress: the job tells the worker thread after each change
// it undoes; the main thread prints a line for every tenth of the way.
struct RollbackMeter {
  std::atomic<size_t> done{0}, total{0};
  size_t shown_tenths = 0;

  static void Observe(void* context, size_t done, size_t total) {
    auto* meter = static_cast<RollbackMeter*>(context);
    meter->total = total;
    meter->done = done;
  }

  void Show(bool quiet) {
    const size_t all = total, now = done;
    if (quiet || all == 0) return;
    const size_t tenths = now * 10 / all;
    if (shown_tenths == 0 && now > 0) std::fprintf(stderr, "rolling back %zu changes\n", all);
    if (tenths <= shown_tenths && now != all) return;
    if (now == all && shown_tenths == 11) return;
    std::fprintf(stderr, "rolled back %zu/%zu\n", now, all);
    shown_tenths = now == all ? 11 : tenths == 0 ? 1 : tenths;
  }
};

// A volume that cannot lock is said once, however many holders try.
void PrintLockWarning(const std::string& text) {
  static std::string last;
  if (text == last) return;
  last = text;
  std::fprintf(stderr, "kittool install: warning: %s\n", text.c_str());
}

// The worker is started with the interrupt signals blocked, so they reach
// the main thread and never interrupt the job's own calls.
void StartWorkerShielded(kitsetup::WorkerThread* worker, kitsetup::ProgressChannel* channel) {
  sigset_t block, previous;
  InterruptSignals(&block);
  pthread_sigmask(SIG_BLOCK, &block, &previous);
  kitsetup::StartWorker(worker, channel);
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

// The directory as the launcher should remember it: absolute (resolved
// against the working directory), without "." components or a trailing "/".
TextString AbsoluteDirectory(const TextString& directory) {
  TextString joined = directory;
  if (directory.empty() || directory[0] != u'/') {
    char cwd[4096];
    if (getcwd(cwd, sizeof cwd) != nullptr) joined = Text(cwd) + u"/" + directory;
  }
  TextString out;
  for (size_t at = 0; at < joined.length();) {
    size_t slash = joined.find(u'/', at);
    if (slash == TextString::npos) slash = joined.length();
    const TextString part = joined.substr(at, slash - at);
    if (!part.empty() && part != TextString(u".")) out = out + u"/" + part;
    at = slash + 1;
  }
  return out.empty() ? TextString(u"/") : out;
}

bool SameDirectory(TextString listed, const TextString& directory) {
  while (listed.length() > 1 && (listed.ends_with(u'/') || listed.ends_with(u'\\'))) listed.resize(listed.length() - 1);
  return listed == directory;
}

// Puts the directory first in the launcher's list, once. A launcher file
// that could not be written is an error of its own: the files are
// installed, but what was asked for was not all done. kExitOk or kExitFailed.
int Register(const TextString& directory, bool quiet, InstallOutcome& outcome) {
  const TextString absolute = AbsoluteDirectory(directory);
  kitsetup::TemplateProposal proposal;
  kitsetup::ProposeTemplateDirectory(proposal);
  std::vector<TextString> others;
  for (const TextString& listed : proposal.dirList)
    if (!SameDirectory(listed, absolute)) others.push_back(listed);
  int exit_code = kExitOk;
  for (const kitsetup::LauncherFileResult& file :
       kitsetup::RecordInstalledDirectory(others, absolute, proposal.flagA, proposal.flagB)) {
    const std::string path = Bytes(file.path);
    if (file.result == kitsetup::kOk) {
      if (!quiet) std::fprintf(stderr, "registered in %s\n", path.c_str());
      continue;
    }
    exit_code = kExitFailed;
    outcome.Report(outcome.result, path,
                   std::string("not registered: ") +
                       (file.result == kitsetup::kErrInvalidData ? "it could not be read to its end"
                                                                 : "writing it failed") +
                       "; the file is unchanged, the installation itself succeeded",
                   file.result);
  }
  return exit_code;
}

struct InstallOptions {
  bool quiet = false, register_dir = false, dry_run = false, json = false;
  const char* kit = nullptr;
  const char* directory = nullptr;
};

// -1 when the options are good; otherwise the exit code (help, usage error).
int ParseOptions(int argc, char** argv, InstallOptions& options) {
  std::vector<const char*> operands;
  for (int i = 0; i < argc; ++i) {
    const char* arg = argv[i];
    if (IsHelpOption(arg)) {
      std::fputs(kInstallUsage, stdout);
      return kExitOk;
    }
    if (!std::strcmp(arg, "--quiet") || !std::strcmp(arg, "-q")) {
      options.quiet = true;
    } else if (!std::strcmp(arg, "--register")) {
      options.register_dir = true;
    } else if (!std::strcmp(arg, "--dry-run") || !std::strcmp(arg, "-n")) {
      options.dry_run = true;
    } else if (!std::strcmp(arg, "--json")) {
      options.json = true;
    } else if (arg[0] == '-' && arg[1] != '\0') {
      return UsageError("install", std::string("unknown option ") + arg);
    } else {
      operands.push_back(arg);
    }
  }
  if (operands.size() != 2) return UsageError("install", "expected KIT and TEMPLATE_DIR");
  if (!*operands[0] || !*operands[1]) return UsageError("install", "KIT and TEMPLATE_DIR must not be empty");
  options.kit = operands[0];
  options.directory = operands[1];
  return -1;
}

// A refused plan: nothing was written. Names the path and the reason; a
// template directory that the locale could not convert at all is named as
// typed.
int ReportRefusal(const kitsetup::InstallPlan& plan, const InstallOptions& options, InstallOutcome& outcome) {
  std::string file = Bytes(plan.refusedPath);
  std::string what = plan.reason;
  if (plan.directory.empty()) {
    file = options.directory;
    what = "the name does not convert to a file name in the current locale; set LC_ALL or LANG to a UTF-8 locale";
  }
  outcome.Report("refused", file, what + "; nothing was changed", plan.refusal);
  return kExitFailed;
}

// Runs the job on the worker thread, showing its progress and the
// rollback's, and cancelling it on a signal. The job's code; `plan` receives
// the plan it followed, `last_target` the last file it posted.
uint32_t RunJob(kitsetup::DistributionKit& kit, kitsetup::ProgressChannel& channel, const TextString& requested,
                bool quiet, kitsetup::InstallPlan& plan, TextString& last_target) {
  ProgressView view(kit, requested, quiet);
  PostFeed feed;
  kitsetup::SetProgressObserver(&channel, &PostFeed::Observe, &feed);
  uint32_t result = kitsetup::kOk;
  {
    kitsetup::WorkerThread worker;
    worker.singleRun = true;
    worker.finishPauseMs = 0;  // nothing to look at: kittool ends at once
    worker.plan = &plan;
    RollbackMeter rollback;
    worker.rollbackProgress = &RollbackMeter::Observe;
    worker.rollbackContext = &rollback;
    StartWorkerShielded(&worker, &channel);
    if (worker.createResult != 0) {
      result = kitsetup::kErrInvalidParameter;
    } else {
      while (!worker.finished) {
        if (Interrupted() && !worker.stop) {
          // The job stops after its current file and rolls back (unless it
          // is already committing); the loop goes on to show the rollback.
          view.EndLine();
          kitsetup::RequestStop(&worker);
          const bool too_late = !kitsetup::SetCancel(&channel, 1);
          if (Interrupted() != SIGPIPE)
            std::fprintf(stderr, too_late ? "kittool install: interrupted while the installation was committed; "
                                            "it completes\n"
                                          : "kittool install: interrupted, rolling back\n");
        }
        feed.Drain(view);
        rollback.Show(quiet);
        usleep(10 * 1000);
      }
      kitsetup::FinishWorker(&worker);
      result = worker.lastResult;
      feed.Drain(view);
      view.EndLine();
      rollback.Show(quiet);
    }
  }
  kitsetup::SetProgressObserver(&channel, nullptr, nullptr);
  last_target = feed.last_target;
  return result;
}

int Install(const InstallOptions& options, InstallOutcome& outcome) {
  kitsetup::SetCurrentLanguage(kitsetup::LanguageFromCode(kitsetup::ByteString("en")));
  outcome.directory = options.directory;

  // The directory is ours before the kit is unpacked, so a second installer
  // is turned away at once; the job shares this lock and keeps it to its end.
  // A dry run takes it too: it answers as the installation would.
  TextString directory = Text(options.directory);
  kitsetup::SetTemplateLockWarningSink(PrintLockWarning);
  kitsetup::TemplateLock lock;
  if (lock.Acquire(directory) != kitsetup::kOk) {
    outcome.Report("refused", "", kitsetup::TemplateBusyMessage(directory), kitsetup::kErrSharingViolation);
    return kExitBusy;
  }
  if (!lock.warning().empty()) PrintLockWarning(lock.warning());

  // An install that a crash cut short is undone before anything else runs.
  if (!options.dry_run) ReportRecoveries("install", TextString());

  kitsetup::DistributionKit kit;
  kitsetup::KitProblem problem;
  uint32_t code = kitsetup::kOk;
  const int loaded = LoadKitForCommand("install", options.kit, kit, &problem, &code);
  if (Interrupted()) {
    outcome.Record("cancelled", options.kit, "interrupted while the kit was unpacked", kitsetup::kErrCancelled);
    return loaded;
  }
  if (loaded != kExitOk) {
    outcome.Record(loaded == kExitBadKit ? "refused" : "failed", options.kit, problem.what, code);
    return loaded;
  }

  kitsetup::ProgressChannel channel;
  kitsetup::InitChannel(&channel);
  kitsetup::StartRequest(&channel, &kit, directory);
  TextString requested;
  kitsetup::ReadRequest(&channel, nullptr, &requested);
  if (!requested.empty()) outcome.directory = Bytes(requested);

  kitsetup::InstallPlan plan;
  TextString last_target;
  uint32_t result;
  if (options.dry_run) {
    // The plan the job would make, from the same function; nothing else runs.
    result = kitsetup::MakeInstallPlan(kit, requested, plan);
    if (result == kitsetup::kOk && !options.quiet)
      std::fputs(kitsetup::DescribePlan(plan).c_str(), options.json ? stderr : stdout);
  } else {
    result = RunJob(kit, channel, requested, options.quiet, plan, last_target);
  }
  DiscardStaging(kit);
  outcome.Planned(plan);

  const std::string at = Bytes(last_target);
  if (result == kitsetup::kOk) return options.register_dir ? Register(requested, options.quiet, outcome) : kExitOk;
  if (result == kitsetup::kErrSharingViolation) {
    outcome.Report("refused", "", kitsetup::TemplateBusyMessage(directory), result);
    return kExitBusy;
  }
  if (plan.refusal != kitsetup::kOk) return ReportRefusal(plan, options, outcome);
  if (result == kitsetup::kErrCancelled) {
    const char* what = "cancelled; the installation was rolled back, the template directory is as it was";
    if (Interrupted() == SIGPIPE)
      outcome.Record("cancelled", at, what, result);
    else
      outcome.Report("cancelled", at, what, result);
    return Interrupted() ? InterruptedExit() : kExitFailed;
  }
  outcome.Report("failed", at, "the installation failed and was rolled back, the template directory is as it was",
                 result);
  return kExitFailed;
}

}  // namespace

int RunInstall(int argc, char** argv) {
  InstallOptions options;
  const int parsed = ParseOptions(argc, argv, options);
  if (parsed >= 0) return parsed;
  InstallOutcome outcome;
  outcome.dryRun = options.dry_run;
  const int exit_code = Install(options, outcome);
  if (options.json) PrintInstallJson(outcome);
  return exit_code;
}

}  // namespace kittool
