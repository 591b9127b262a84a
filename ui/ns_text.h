// ui/ns_text.h: TextString <-> NSString, always through the locale's bytes
// (UTF-8), the one conversion path the rest of the program uses.
#ifndef KITSETUP_UI_NS_TEXT_H
#define KITSETUP_UI_NS_TEXT_H

#import <Foundation/Foundation.h>

#include "core/encoding.h"
#include "core/messages.h"
#include "core/text_string.h"

namespace kitsetup {

// Autoreleased; an empty string when the bytes are not UTF-8.
inline NSString* ToNSString(const ByteString& utf8) {
  NSString* s = [NSString stringWithUTF8String:utf8.c_str()];
  return s != nil ? s : @"";
}

inline NSString* ToNSString(const TextString& text) { return ToNSString(ToLocaleBytes(text)); }

inline NSString* MessageNSString(const char* key) { return ToNSString(LookupMessage(key)); }

inline TextString FromNSString(NSString* s) {
  const char* utf8 = [s UTF8String];
  return utf8 != nullptr ? FromLocaleBytes(ByteString(utf8)) : TextString();
}

}  // namespace kitsetup

#endif
