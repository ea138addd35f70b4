#pragma once

// Internal to the image library: the state behind TiffReader, shared by
// the file that reads a TIFF's description and the one that decodes rows.

#include <cstdint>
#include <memory>
#include <vector>

#include "image/bitmap.h"
#include "image/tiff_reader.h"
#include "image/tiff_support.h"

namespace slidebox::image {

struct TiffReader::Impl {
    // Declared first, so that it outlives the handle whose handlers write here.
    tiff::Messages messages;
    tiff::MemorySource memory;
    tiff::TiffPtr tif;
    TiffReadOptions options;

    std::int32_t width = 0;
    std::int32_t height = 0;
    PixelFormat format;
    std::uint16_t compression = COMPRESSION_NONE;
    tiff::SampleMasks masks{};
    bool minIsWhite = false;  ///< gray stored with white as 0
    bool labSigned = false;   ///< a and b stored signed
    std::size_t scanline = 0; ///< bytes of one row in one plane, as decoded

    bool tiled = false;
    std::uint32_t tileWidth = 0;
    std::uint32_t tileLength = 0;
    std::uint32_t tilesAcross = 0;
    std::size_t tileBytes = 0; ///< one decoded tile of one plane
    std::uint32_t stripsPerPlane = 0;
    std::int32_t rowsPerBand = 0;
    std::uint32_t bandCount = 0;

    /// Where each strip starts in the file, when its rows can be read
    /// straight from it (readRowsAt); empty otherwise.
    std::vector<std::uint64_t> stripOffsets;

    Bitmap band; ///< the band kept between calls
    std::int64_t cachedBand = -1;
    std::unique_ptr<std::uint8_t, void (*)(void*)> tileBuffer{nullptr, std::free};

    /// Reads and checks the description of the open handle; fileSize is the
    /// bytes the file holds.
    ImageStatus describe(std::uint64_t fileSize);

    std::int32_t rowsInBand(std::uint32_t index) const;
    /// BadArgument when destination can't take rows from firstRow on.
    ImageStatus checkRows(std::int32_t firstRow, const Bitmap& destination) const;
    /// Decodes a band into planes rowBytes apart; for strips rowBytes must
    /// be the scanline.
    ImageStatus decodeBand(std::uint32_t index, std::uint8_t* const* planes, std::size_t rowBytes);
    /// Notes where the strips lie when they hold the rows as they come.
    void findStoredRows();
    /// Makes the kept band hold band index.
    ImageStatus cacheBand(std::uint32_t index);

    ImageStatus fail(ImageErrorCode code, const std::string& what) const {
        return tiff::failure(code, what, messages);
    }
};

} // namespace slidebox::image
