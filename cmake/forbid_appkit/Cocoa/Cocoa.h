#error "Logic code (core, launcher, kit, install, app) must not include Cocoa: keep Cocoa in ui/."
