#include "draw/drawing_objects.h"

namespace slidebox::draw {

std::unique_ptr<DrawColorSpace> DrawColorSpace::createDevice(Model model) {
    if (model == Model::Indexed)
        return nullptr;
    return std::unique_ptr<DrawColorSpace>(new DrawColorSpace(model));
}

std::unique_ptr<DrawColorSpace> DrawColorSpace::createICCBased(int components,
                                                               const DataProvider& profile) {
    Model model;
    switch (components) {
    case 1:
        model = Model::Gray;
        break;
    case 3:
        model = Model::RGB;
        break;
    case 4:
        model = Model::CMYK;
        break;
    default:
        return nullptr;
    }
    std::unique_ptr<DrawColorSpace> space(new DrawColorSpace(model));
    space->profile_.assign(profile.bytes().begin(), profile.bytes().end());
    return space;
}

std::unique_ptr<DrawColorSpace> DrawColorSpace::createIndexed(const DrawColorSpace& base,
                                                              std::vector<std::uint8_t> table) {
    if (base.model_ == Model::Indexed)
        return nullptr;
    std::unique_ptr<DrawColorSpace> space(new DrawColorSpace(Model::Indexed));
    space->base_ = &base;
    space->table_ = std::move(table);
    return space;
}

int DrawColorSpace::components() const {
    switch (model_) {
    case Model::Gray:
        return 1;
    case Model::RGB:
        return 3;
    case Model::CMYK:
        return 4;
    case Model::Indexed:
        return base_ ? base_->components() : 0;
    }
    return 0;
}

} // namespace slidebox::draw
