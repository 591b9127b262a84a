// ui/text_fit.h: texts that fit their fixed frames. The wizard's frames are
// fixed in points, its texts come in twelve languages: a button title that
// does not fit at the normal size is drawn smaller, on one line, as native
// installers do. The same measure, logged on request, lets the window tests
// check every text against its frame in code.
#ifndef KITSETUP_UI_TEXT_FIT_H
#define KITSETUP_UI_TEXT_FIT_H

#import <AppKit/AppKit.h>

namespace kitsetup {

// Keeps the title on one line and lowers its font size in half points, down
// to 8, until the title fits the room the cell gives it inside the bezel.
void FitButtonTitle(NSButton* button);

// When KITSETUP_LAYOUT_REPORT is set (any value but empty), logs one
// "layout" event for every visible text control under `root`:
// "<where> <kind> fits|clipped <needed w>x<h> <room w>x<h>", then its text.
// A button's title is measured against its cell's title rectangle, a label
// against its frame; a label that wraps is measured at its frame's width.
void ReportLayout(NSView* root, const char* where);

}  // namespace kitsetup

#endif
