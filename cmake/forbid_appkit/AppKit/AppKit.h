#error "Logic code (core, launcher, kit, install, app) must not include AppKit: keep Cocoa in ui/."
