#import "ui/pictures.h"

#include <cstddef>

extern const unsigned char kSidePicture[];
extern const size_t kSidePictureSize;
extern const unsigned char kErrorPicture[];
extern const size_t kErrorPictureSize;
extern const unsigned char kQuestionPicture[];
extern const size_t kQuestionPictureSize;

namespace kitsetup {
namespace {

const std::vector<unsigned char> gSidePicture(kSidePicture, kSidePicture + kSidePictureSize);
const std::vector<unsigned char> gErrorPicture(kErrorPicture, kErrorPicture + kErrorPictureSize);
const std::vector<unsigned char> gQuestionPicture(kQuestionPicture,
                                                  kQuestionPicture + kQuestionPictureSize);

}  // namespace

const std::vector<unsigned char>& SidePictureBytes() { return gSidePicture; }
const std::vector<unsigned char>& ErrorPictureBytes() { return gErrorPicture; }
const std::vector<unsigned char>& QuestionPictureBytes() { return gQuestionPicture; }

NSImage* NewImageFromBytes(const std::vector<unsigned char>& bytes) {
  NSData* data = [NSData dataWithBytes:bytes.data() length:bytes.size()];
  return [[NSImage alloc] initWithData:data];
}

}  // namespace kitsetup
