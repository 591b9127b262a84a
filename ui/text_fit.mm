#import "ui/text_fit.h"

#include <cstdio>
#include <cstdlib>

#include "app/event_log.h"
#include "ui/ns_text.h"

namespace kitsetup {
namespace {

const CGFloat kSmallestTitle = 8.0;
const CGFloat kStep = 0.5;
// A measure rounds to fractions of a point differently from drawing.
const CGFloat kTolerance = 0.5;

bool ReportWanted() {
  const char* value = getenv("KITSETUP_LAYOUT_REPORT");
  return value != nullptr && *value != '\0';
}

bool Fits(NSSize needed, NSSize frame) {
  return needed.width <= frame.width + kTolerance && needed.height <= frame.height + kTolerance;
}

void Report(const char* where, const char* kind, NSSize needed, NSSize frame, NSString* text) {
  char detail[256];
  std::snprintf(detail, sizeof detail, "%s %s %s %.1fx%.1f %.1fx%.1f", where, kind,
                Fits(needed, frame) ? "fits" : "clipped", needed.width, needed.height, frame.width,
                frame.height);
  LogLayout(detail, FromNSString(text));
}

// The title's size in the button's font, and the room the cell gives the
// title inside its bezel.
void MeasureTitle(NSButton* button, NSSize* needed, NSSize* room) {
  NSDictionary* attributes = [NSDictionary dictionaryWithObject:[button font] forKey:NSFontAttributeName];
  *needed = [[button title] sizeWithAttributes:attributes];
  *room = [[button cell] titleRectForBounds:[button bounds]].size;
}

void ReportView(NSView* view, const char* where) {
  if ([view isHidden]) return;
  const NSSize frame = [view frame].size;
  if ([view isKindOfClass:[NSButton class]]) {
    NSButton* button = (NSButton*)view;
    const NSUInteger kImageOnly = 1;  // NSImageOnly: an icon, its title never drawn
    if ([[button title] length] > 0 && (NSUInteger)[button imagePosition] != kImageOnly) {
      NSSize needed, room;
      MeasureTitle(button, &needed, &room);
      Report(where, "button", needed, room, [button title]);
    }
  } else if ([view isKindOfClass:[NSTextField class]]) {
    NSTextField* field = (NSTextField*)view;
    NSCell* cell = [field cell];
    if ([[field stringValue] length] > 0) {
      // A wrapping label keeps its width: what matters is the height its
      // lines need there. An editable field scrolls: only its height counts.
      NSSize needed = [cell cellSize];
      if ([cell wraps]) {
        needed = [[field attributedStringValue] boundingRectWithSize:NSMakeSize(frame.width, 1e6)
                                                             options:NSStringDrawingUsesLineFragmentOrigin]
                     .size;
      }
      if ([cell wraps] || [field isEditable]) needed.width = frame.width;
      // What the window shows of the field: its frame may reach past its
      // window's edge.
      const NSSize shown = [field visibleRect].size;
      Report(where, [field isEditable] ? "field" : "label", needed, shown, [field stringValue]);
      return;
    }
  }
  NSArray* children = [view subviews];
  for (NSUInteger i = 0; i < [children count]; ++i) ReportView([children objectAtIndex:i], where);
}

}  // namespace

void FitButtonTitle(NSButton* button) {
  NSButtonCell* cell = [button cell];
  [cell setWraps:NO];
  [cell setLineBreakMode:NSLineBreakByClipping];
  // From the normal size each time: a new title (Next becomes Finish) may
  // fit where the old one did not.
  for (CGFloat size = [NSFont systemFontSize];; size -= kStep) {
    [button setFont:[NSFont systemFontOfSize:size]];
    NSSize needed, room;
    MeasureTitle(button, &needed, &room);
    if (Fits(needed, room) || size - kStep < kSmallestTitle) break;
  }
}

void ReportLayout(NSView* root, const char* where) {
  if (!ReportWanted() || root == nil) return;
  ReportView(root, where);
}

}  // namespace kitsetup
