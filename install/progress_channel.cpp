// install/progress_channel.cpp: the channel operations. Each one holds the
// lock for one copy in or out. Strings are copied unit by unit into the
// receiver's own storage, so the two threads never share a string block.
#include "install/progress_channel.h"

namespace kitsetup {
namespace {

class Locked {
 public:
  explicit Locked(ProgressChannel* channel) : lock_(&channel->lock) { ChannelLockWait(lock_); }
  ~Locked() { ChannelLockPost(lock_); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  ChannelLock* lock_;
};

void CopyText(TextString* to, const TextString& from) { to->assign(from.data(), from.length()); }

}  // namespace

void InitChannel(ProgressChannel* channel) {
  if (!channel) return;
  ChannelLockInit(&channel->lock);
  channel->request = nullptr;
  channel->directory.clear();
  channel->cancel = 0;
  channel->committing = 0;
  channel->code = 0;
  channel->text.clear();
  channel->percent = 0;
}

void StartRequest(ProgressChannel* channel, DistributionKit* kit, const TextString& directory) {
  if (!channel) return;
  Locked hold(channel);
  channel->cancel = 0;
  channel->committing = 0;
  channel->code = 0;
  channel->percent = 0;
  channel->request = kit;
  CopyText(&channel->directory, directory);
  if (!directory.empty() && !directory.ends_with(u'\\') && !directory.ends_with(u'/'))
    channel->directory.push_back(u'/');
}

void ReadRequest(ProgressChannel* channel, DistributionKit** kit, TextString* directory) {
  if (!channel) return;
  Locked hold(channel);
  if (kit) *kit = channel->request;
  if (directory) CopyText(directory, channel->directory);
}

bool SetCancel(ProgressChannel* channel, uint32_t value) {
  if (!channel) return false;
  Locked hold(channel);
  if (channel->committing != 0) return false;
  channel->cancel = value;
  return true;
}

bool IsCancelled(ProgressChannel* channel) {
  if (!channel) return false;
  Locked hold(channel);
  return channel->cancel != 0;
}

bool BeginCommit(ProgressChannel* channel) {
  if (!channel) return true;
  Locked hold(channel);
  if (channel->cancel != 0) return false;
  channel->committing = 1;
  return true;
}

void PostProgress(ProgressChannel* channel, uint32_t code, const TextString& text, int32_t percent) {
  if (!channel) return;
  Locked hold(channel);
  channel->code = code;
  CopyText(&channel->text, text);
  channel->percent = percent;
  if (channel->observer) channel->observer(channel->observerContext, code, text, percent);
}

void ReadProgress(ProgressChannel* channel, uint32_t* code, TextString* text, int32_t* percent) {
  if (!channel) return;
  Locked hold(channel);
  if (code) *code = channel->code;
  if (text) CopyText(text, channel->text);
  if (percent) *percent = channel->percent;
}

void SetProgressObserver(ProgressChannel* channel, ProgressObserver observer, void* context) {
  if (!channel) return;
  Locked hold(channel);
  channel->observer = observer;
  channel->observerContext = context;
}

}  // namespace kitsetup
