// app/installer_state.h: what the installer knows about one run, apart from
// its windows: the kit, the proposed template directory and its candidates,
// the progress channel and the worker. The interface's dialog holds one; the
// pre-install checks and the tests work on it without a window.
//
// The app folder may use core, kit, launcher and install; never AppKit.
#ifndef KITSETUP_APP_INSTALLER_STATE_H
#define KITSETUP_APP_INSTALLER_STATE_H

#include <cstdint>
#include <functional>
#include <vector>

#include "core/text_string.h"
#include "install/progress_channel.h"
#include "install/worker_thread.h"
#include "kit/distribution_kit.h"

namespace kitsetup {

// Wizard states.
enum : uint32_t {
  kStateNone = 0,
  kStateWelcome = 1,
  kStateDestination = 2,
  kStateCopying = 3,
  kStateSuccess = 4,
  kStateFailure = 5,
};

// Message box types and results.
enum : uint32_t {
  kMessageError = 0x01000000,
  kMessageQuestion = 0x02000000,
  kMessageYesNo = 2,
  kMessageErrorOk = 0x1000001,
  kMessageQuestionYesNo = 0x2000002,
  kMessagePlainOk = 1,
};
enum : int { kAnswerOther = 0, kAnswerYes = 1, kAnswerNo = 2, kAnswerOk = 3 };

// Shows one modal message and returns its answer (kAnswer...).
using ShowMessageFn = std::function<int(const TextString& text, uint32_t type)>;

struct InstallerState {
  uint8_t m_flagA = 0;   // template locations came from the legacy file and were not empty
  uint8_t m_flagB = 0;   // the legacy launcher file exists
  uint8_t m_silent = 0;
  ProgressChannel m_progress;
  std::vector<TextString> m_dirList;
  TextString m_templateDir;
  TextString m_kitPath;
  DistributionKit m_kit;
  TextString m_langCode;
  uint32_t m_state = kStateNone;
  uint8_t m_useCwd = 0;
  uint32_t m_confirmCancel = 1;
  WorkerThread m_worker;
};

}  // namespace kitsetup

#endif
