#include "draw/image.h"

#include <algorithm>

namespace slidebox::draw {

Image Image::fromQImage(const QImage& picture) {
    Image result;
    if (auto rep = BitmapImageRep::fromQImage(picture)) {
        result.size_ = rep->size();
        result.reps_.push_back(std::make_unique<BitmapImageRep>(std::move(*rep)));
    }
    return result;
}

void Image::addRepresentation(std::unique_ptr<BitmapImageRep> rep) {
    if (rep)
        reps_.push_back(std::move(rep));
}

void Image::removeRepresentation(const BitmapImageRep* rep) {
    std::erase_if(reps_, [rep](const auto& own) { return own.get() == rep; });
}

QImage Image::toQImage() const {
    return reps_.empty() ? QImage() : reps_.front()->toQImage();
}

} // namespace slidebox::draw
