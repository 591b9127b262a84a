// ui/pictures.h: the three pictures compiled into the program (drawn by
// resources/make_pictures.py): the wizard's side picture and the two alert
// icons. The bytes are copied once into process-wide vectors; each use makes
// its own NSImage from them.
#ifndef KITSETUP_UI_PICTURES_H
#define KITSETUP_UI_PICTURES_H

#import <AppKit/AppKit.h>

#include <vector>

namespace kitsetup {

const std::vector<unsigned char>& SidePictureBytes();      // BMP, 158 x 286, 8-bit palette
const std::vector<unsigned char>& ErrorPictureBytes();     // PNG, 125 x 125 RGBA
const std::vector<unsigned char>& QuestionPictureBytes();  // PNG, 256 x 256 RGBA

// A new image (retained: the caller releases it), nil when the bytes do not decode.
NSImage* NewImageFromBytes(const std::vector<unsigned char>& bytes);

}  // namespace kitsetup

#endif
