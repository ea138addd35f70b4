#include "draw/drawing_trash.h"

#include <utility>

namespace slidebox::draw {

DrawingTrash::~DrawingTrash() {
    // Members would end in reverse declaration order; the order is the
    // class's promise, so it is spelled out.
    idxedSpace_.reset();
    colorSpace_.reset();
    bytes_.reset();
    dataProvider_.reset();
    imageRef_.reset();
    objToRelease_.reset();
}

template <class T> bool DrawingTrash::fill(T& slot, T&& value) {
    if (slot && value)
        return false;
    if (value)
        slot = std::move(value);
    return true;
}

bool DrawingTrash::colorSpaceToTrash(std::unique_ptr<DrawColorSpace> space) {
    return fill(colorSpace_, std::move(space));
}
bool DrawingTrash::idxedSpaceToTrash(std::unique_ptr<DrawColorSpace> space) {
    return fill(idxedSpace_, std::move(space));
}
bool DrawingTrash::dataProviderToTrash(std::unique_ptr<DataProvider> provider) {
    return fill(dataProvider_, std::move(provider));
}
bool DrawingTrash::imageRefToTrash(std::unique_ptr<QImage> image) {
    return fill(imageRef_, std::move(image));
}
bool DrawingTrash::bytesToTrash(void* bytes) {
    std::unique_ptr<void, FreeDeleter> block(bytes);
    return fill(bytes_, std::move(block));
}
bool DrawingTrash::objectToRelease(std::unique_ptr<TrashObject> object) {
    return fill(objToRelease_, std::move(object));
}

} // namespace slidebox::draw
