#include "library/image_path_list.h"

#include "platform/log.h"

namespace slidebox {

ImagePathList::ImagePathList(const std::vector<Path>& paths) {
    std::size_t bytes = 0;
    for (const Path& path : paths)
        bytes += path.native().size();
    chars_.reserve(bytes);
    ends_.reserve(paths.size());
    for (const Path& path : paths)
        push_back(path.native());
}

std::optional<ImagePathList> ImagePathList::fromPlist(const platform::PlistValue& value) {
    ImagePathList list;
    if (value.stored()) {
        list.stored_ = std::get<platform::PlistValue::Stored>(value.storage());
        return list;
    }
    const platform::PlistArray* items = value.array();
    if (!items)
        return std::nullopt;
    const platform::PlistArray& array = *items;
    std::size_t bytes = 0;
    for (const platform::PlistValue& item : array)
        if (const std::string* s = item.string())
            bytes += s->size();
    list.chars_.reserve(bytes);
    list.ends_.reserve(array.size());
    for (const platform::PlistValue& item : array)
        if (const std::string* s = item.string())
            list.push_back(*s);
    return list;
}

void ImagePathList::readStored() const {
    read_ = true;
    std::size_t bytes = 0;
    if (!stored_->forEach([&](std::string_view s) { bytes += s.size(); })) {
        platform::log(
            "The image paths stored for a library could not be read: " + stored_->reason() + ".");
        return;
    }
    chars_.reserve(bytes);
    ends_.reserve(stored_->size());
    stored_->forEach([&](std::string_view s) {
        chars_ += s;
        ends_.push_back(chars_.size());
    });
}

platform::PlistValue ImagePathList::toPlist() const {
    if (stored_)
        return platform::PlistValue(stored_);
    platform::PlistArray array;
    array.reserve(size());
    for (std::size_t i = 0; i < size(); ++i)
        array.emplace_back(std::string(native(i)));
    return array;
}

std::vector<ImagePathList::Path> ImagePathList::toPathList() const {
    std::vector<Path> paths;
    paths.reserve(size());
    for (std::size_t i = 0; i < size(); ++i)
        paths.emplace_back(native(i));
    return paths;
}

void ImagePathList::push_back(std::string_view path) {
    readIfStored();
    stored_.reset();
    chars_ += path;
    ends_.push_back(chars_.size());
}

bool operator==(const ImagePathList& a, const ImagePathList& b) {
    if (a.stored_ && a.stored_ == b.stored_)
        return true;
    a.readIfStored();
    b.readIfStored();
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a.native(i) != b.native(i))
            return false;
    return true;
}

bool operator==(const ImagePathList& list, const std::vector<ImagePathList::Path>& paths) {
    list.readIfStored();
    if (list.size() != paths.size())
        return false;
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (list.native(i) != paths[i].native())
            return false;
    return true;
}

} // namespace slidebox
