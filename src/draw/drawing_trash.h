#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include <QImage>

#include "draw/drawing_objects.h"

namespace slidebox::draw {

/// Anything that ends by its destructor, for the trash's last slot.
class TrashObject {
  public:
    virtual ~TrashObject() = default;
};

/// A holder for drawing objects that must live until the end of a scope
/// rather than the end of the routine that made them: whatever it is given
/// ends when the trash ends, in a fixed order: the indexed space, then the
/// colour space (an indexed space may be based on it), the malloc block, the
/// data provider, the image, the object.
///
/// One object per slot: a slot takes over what it is given and refuses
/// (false, the offered object ends at once) when it already holds one.
/// Null leaves a slot empty. Not copyable, not movable: one scope.
class DrawingTrash {
  public:
    DrawingTrash() = default;
    ~DrawingTrash();
    DrawingTrash(const DrawingTrash&) = delete;
    DrawingTrash& operator=(const DrawingTrash&) = delete;

    bool colorSpaceToTrash(std::unique_ptr<DrawColorSpace> space);
    bool idxedSpaceToTrash(std::unique_ptr<DrawColorSpace> space);
    bool dataProviderToTrash(std::unique_ptr<DataProvider> provider);
    bool imageRefToTrash(std::unique_ptr<QImage> image);
    /// A block from malloc, ended with free.
    bool bytesToTrash(void* bytes);
    bool objectToRelease(std::unique_ptr<TrashObject> object);

  private:
    struct FreeDeleter {
        void operator()(void* p) const { std::free(p); }
    };
    template <class T> static bool fill(T& slot, T&& value);

    std::unique_ptr<DrawColorSpace> colorSpace_;
    std::unique_ptr<DrawColorSpace> idxedSpace_;
    std::unique_ptr<DataProvider> dataProvider_;
    std::unique_ptr<QImage> imageRef_;
    std::unique_ptr<void, FreeDeleter> bytes_;
    std::unique_ptr<TrashObject> objToRelease_;
};

} // namespace slidebox::draw
