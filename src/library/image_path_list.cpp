#include "library/image_path_list.h"

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

ImagePathList ImagePathList::fromPlist(const platform::PlistArray& array) {
    ImagePathList list;
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

platform::PlistArray ImagePathList::toPlist() const {
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
    chars_ += path;
    ends_.push_back(chars_.size());
}

bool operator==(const ImagePathList& list, const std::vector<ImagePathList::Path>& paths) {
    if (list.size() != paths.size())
        return false;
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (list.native(i) != paths[i].native())
            return false;
    return true;
}

} // namespace slidebox
