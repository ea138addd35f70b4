#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace slidebox::draw {

/// Bytes lent to the drawing layer by their owner, with what to call when
/// the drawing layer no longer needs them (the owner may then free them).
/// The bytes are never copied; they must outlive the provider.
class DataProvider {
  public:
    explicit DataProvider(std::span<const std::uint8_t> bytes, std::function<void()> release = {})
        : bytes_(bytes), release_(std::move(release)) {}
    ~DataProvider() {
        if (release_)
            release_();
    }
    DataProvider(const DataProvider&) = delete;
    DataProvider& operator=(const DataProvider&) = delete;

    std::span<const std::uint8_t> bytes() const { return bytes_; }

  private:
    std::span<const std::uint8_t> bytes_;
    std::function<void()> release_;
};

/// The colour space a drawing context works in: one of the three device
/// spaces, one described by an ICC profile (of 1, 3 or 4 channels, its
/// bytes copied), or an indexed space whose entries are colours of a base
/// space. An indexed space points at its base, which must outlive it.
class DrawColorSpace {
  public:
    enum class Model : std::uint8_t { Gray, RGB, CMYK, Indexed };

    static std::unique_ptr<DrawColorSpace> createDevice(Model model);
    /// Null unless components is 1, 3 or 4.
    static std::unique_ptr<DrawColorSpace> createICCBased(int components,
                                                          const DataProvider& profile);
    /// Entries of base's channels one after the other; null for an indexed base.
    static std::unique_ptr<DrawColorSpace> createIndexed(const DrawColorSpace& base,
                                                         std::vector<std::uint8_t> table);

    ~DrawColorSpace() {
        if (released_)
            released_();
    }
    DrawColorSpace(const DrawColorSpace&) = delete;
    DrawColorSpace& operator=(const DrawColorSpace&) = delete;

    Model model() const { return model_; }
    /// Channels of a colour: 1, 3 or 4; those of the base for an indexed space.
    int components() const;
    /// The profile's bytes; empty for a device or indexed space.
    const std::vector<std::uint8_t>& iccProfile() const { return profile_; }
    const DrawColorSpace* base() const { return base_; }
    /// Called once when the space ends.
    void setReleaseHandler(std::function<void()> handler) { released_ = std::move(handler); }

  private:
    explicit DrawColorSpace(Model model) : model_(model) {}
    Model model_;
    const DrawColorSpace* base_ = nullptr;
    std::vector<std::uint8_t> profile_;
    std::vector<std::uint8_t> table_;
    std::function<void()> released_;
};

} // namespace slidebox::draw
