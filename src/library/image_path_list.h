#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/plist_value.h"

namespace slidebox {

/// A library's image paths in search order, held in one buffer: a list of
/// thousands of stored paths is two allocations, and a path object is made
/// only for the image that is asked for. Paths are byte strings, as stored.
///
/// A list read from stored strings (PlistStoredStrings) reads them at the
/// first path asked for, and until it is changed gives them back as they
/// were stored, unread. Not for use from several threads at once.
class ImagePathList {
  public:
    using Path = std::filesystem::path;

    ImagePathList() = default;
    /// The paths as they are, in order (implicit: a scan's result is one).
    ImagePathList(const std::vector<Path>& paths);

    /// The strings of a stored array, in order; an item that is no string
    /// is left out. Nothing for a value that is no array.
    static std::optional<ImagePathList> fromPlist(const platform::PlistValue& value);
    /// The stored form: an array of strings.
    platform::PlistValue toPlist() const;
    std::vector<Path> toPathList() const;

    /// Stored strings are counted unread. Read, the count leaves out any item
    /// that is no string, and strings that can't be read (their file was
    /// changed in place) leave the list empty from then on.
    std::size_t size() const { return stored_ && !read_ ? stored_->size() : ends_.size(); }
    bool empty() const { return size() == 0; }
    /// The bytes of the path at index, 0 .. size()-1.
    std::string_view native(std::size_t index) const {
        readIfStored();
        if (index >= ends_.size())
            return {};
        const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
        return std::string_view(chars_).substr(begin, ends_[index] - begin);
    }
    /// The path at index, 0 .. size()-1, made afresh.
    Path operator[](std::size_t index) const { return Path(native(index)); }
    void push_back(std::string_view path);

    /// Walks the list as paths, each made as it is reached.
    class const_iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Path;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = Path;

        const_iterator(const ImagePathList* list, std::size_t index) : list_(list), index_(index) {}
        Path operator*() const { return (*list_)[index_]; }
        const_iterator& operator++() {
            ++index_;
            return *this;
        }
        const_iterator operator++(int) { return {list_, index_++}; }
        friend bool operator==(const const_iterator&, const const_iterator&) = default;

      private:
        const ImagePathList* list_;
        std::size_t index_;
    };
    using iterator = const_iterator;
    /// A walk reads stored strings first, so that its end is that of what
    /// was read (an item that is no string is left out).
    const_iterator begin() const {
        readIfStored();
        return {this, 0};
    }
    const_iterator end() const {
        readIfStored();
        return {this, size()};
    }

    friend bool operator==(const ImagePathList& a, const ImagePathList& b);
    friend bool operator==(const ImagePathList& list, const std::vector<Path>& paths);

  private:
    void readStored() const;
    void readIfStored() const {
        if (stored_ && !read_)
            readStored();
    }
    /// The stored strings the list was read from, while it is unchanged.
    platform::PlistValue::Stored stored_;
    mutable bool read_ = false;             ///< stored_ has been read into the buffer
    mutable std::string chars_;             ///< every path's bytes, one after another
    mutable std::vector<std::size_t> ends_; ///< where each path ends in chars_
};

} // namespace slidebox
