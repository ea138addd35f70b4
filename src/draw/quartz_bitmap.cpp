#include "draw/quartz_bitmap.h"

#include <cmath>
#include <fstream>
#include <iterator>

#include "color/profile_inspector.h"
#include "draw/drawing_trash.h"

namespace slidebox::draw {

namespace {

using Model = DrawColorSpace::Model;

// The whole file, or nothing when it can't be read.
std::optional<std::vector<std::uint8_t>> fileBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return std::nullopt;
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)),
                                    std::istreambuf_iterator<char>());
    if (file.bad())
        return std::nullopt;
    return bytes;
}

struct Layout {
    int samplesPerPixel;
    bool alpha;
    std::string_view name;
};

std::optional<Layout> layoutFor(Model model) {
    switch (model) {
    case Model::Gray:
        return Layout{1, false, NSCalibratedBlackColorSpace};
    case Model::RGB:
        return Layout{4, true, NSCalibratedRGBColorSpace};
    case Model::CMYK:
        return Layout{4, false, NSDeviceCMYKColorSpace};
    case Model::Indexed:
        break;
    }
    return std::nullopt;
}

std::optional<Model> modelForName(std::string_view name) {
    if (name == kCGColorSpaceUserGray)
        return Model::Gray;
    if (name == kCGColorSpaceUserRGB)
        return Model::RGB;
    if (name == kCGColorSpaceUserCMYK)
        return Model::CMYK;
    return std::nullopt;
}

} // namespace

std::int32_t pixelsForPoints(float points) {
    // Past this a float has no fraction left and a row could not be counted.
    if (!(points > 0.0f) || !(points < 1.0e9f))
        return 0;
    float whole = std::trunc(points);
    if (points - whole != 0.0f)
        whole = std::trunc(points + 1.0f);
    return static_cast<std::int32_t>(whole);
}

std::unique_ptr<QuartzBitmap>
QuartzBitmap::initWithSize(SizeF size, const std::optional<std::filesystem::path>& profile,
                           std::optional<std::span<const std::uint8_t>> profileData,
                           std::optional<std::string_view> colorSpace) {
    std::unique_ptr<QuartzBitmap> bitmap(new QuartzBitmap);
    bitmap->pixelsWide_ = pixelsForPoints(size.width);
    bitmap->pixelsHigh_ = pixelsForPoints(size.height);
    if (bitmap->pixelsWide_ == 0 || bitmap->pixelsHigh_ == 0)
        return nullptr;
    std::optional<std::vector<std::uint8_t>> fromFile;
    if (profile) {
        fromFile = fileBytes(*profile);
        profileData =
            fromFile ? std::optional<std::span<const std::uint8_t>>(*fromFile) : std::nullopt;
    }
    if (!bitmap->createBitmapContext(profileData, colorSpace))
        return nullptr;
    return bitmap;
}

std::unique_ptr<QuartzBitmap> QuartzBitmap::initWithSize(SizeF size, std::string_view colorSpace) {
    return initWithSize(size, std::nullopt, std::nullopt, colorSpace);
}
std::unique_ptr<QuartzBitmap> QuartzBitmap::initWithSize(SizeF size, const char* colorSpace) {
    return initWithSize(size, std::string_view(colorSpace ? colorSpace : ""));
}
std::unique_ptr<QuartzBitmap> QuartzBitmap::initWithSize(SizeF size,
                                                         const std::string& colorSpace) {
    return initWithSize(size, std::string_view(colorSpace));
}
std::unique_ptr<QuartzBitmap> QuartzBitmap::initWithSize(SizeF size,
                                                         const std::filesystem::path& profile) {
    return initWithSize(size, profile, std::nullopt, std::nullopt);
}
std::unique_ptr<QuartzBitmap>
QuartzBitmap::initWithSize(SizeF size, std::span<const std::uint8_t> profileData) {
    return initWithSize(size, std::nullopt, profileData, std::nullopt);
}

QuartzBitmap::~QuartzBitmap() {
    // The context writes into the representation's memory: it goes first.
    ctx_.reset();
    imageRep_.reset();
}

bool QuartzBitmap::createBitmapContext(std::optional<std::span<const std::uint8_t>> profileData,
                                       std::optional<std::string_view> colorSpace) {
    std::unique_ptr<DrawColorSpace> space;
    std::optional<Layout> layout;
    bool profileDecides = false;
    if (profileData && !profileData->empty()) {
        // The trash keeps the provider for this scope, inspector or not.
        DrawingTrash trash;
        auto provider = std::make_unique<DataProvider>(*profileData);
        if (auto inspector =
                color::ProfileInspector::profileInspectorWithProfileData(*profileData, -1)) {
            profileDecides = true;
            const int channels = static_cast<int>(inspector->nbComponents());
            if (channels == 1 || channels == 3 || channels == 4) {
                space = DrawColorSpace::createICCBased(channels, *provider);
                if (space)
                    layout = layoutFor(space->model());
            }
        }
        trash.dataProviderToTrash(std::move(provider));
    }
    if (!profileDecides) {
        const auto model = colorSpace ? modelForName(*colorSpace) : std::nullopt;
        if (!model)
            return false;
        space = DrawColorSpace::createDevice(*model);
        layout = layoutFor(*model);
    }
    if (layout)
        createBitmapRep(layout->samplesPerPixel, layout->alpha, layout->name);
    if (!imageRep_)
        return false;
    ctx_ = DrawContext::create(imageRep_->pixels());
    if (!ctx_) {
        imageRep_.reset();
        return false;
    }
    iccProfile_ = space->iccProfile();
    return true;
}

void QuartzBitmap::createBitmapRep(int samplesPerPixel, bool alpha,
                                   std::string_view colorSpaceName) {
    using image::ColorSpace;
    const ColorSpace space = samplesPerPixel == 1 ? ColorSpace::Gray
                             : alpha              ? ColorSpace::RGB
                                                  : ColorSpace::CMYK;
    image::PixelFormat format = image::PixelFormat::make(space, 8, alpha);
    format.alphaPremultiplied = alpha;
    // Rows on 16-byte boundaries, as a representation that picks its own
    // row length would have them.
    const std::size_t need =
        static_cast<std::size_t>(pixelsWide_) * static_cast<std::size_t>(samplesPerPixel);
    const std::size_t rowBytes = (need + 15) / 16 * 16;
    auto pixels = image::Bitmap::allocate(pixelsWide_, pixelsHigh_, format, rowBytes);
    if (!pixels)
        return;
    imageRep_ =
        std::make_unique<BitmapImageRep>(std::move(pixels).value(), std::string(colorSpaceName));
}

std::unique_ptr<BitmapImageRep> QuartzBitmap::takeBitmapRep() {
    ctx_.reset();
    return std::move(imageRep_);
}

void QuartzBitmap::eraseBitmap() {
    ctx_->setGrayFillColor(0.0f, 1.0f);
    ctx_->fillRect({0.0f, 0.0f, static_cast<float>(pixelsWide_), static_cast<float>(pixelsHigh_)});
}

void QuartzBitmap::fillBitmap() {
    ctx_->setGrayFillColor(1.0f, 1.0f);
    ctx_->fillRect({0.0f, 0.0f, static_cast<float>(pixelsWide_), static_cast<float>(pixelsHigh_)});
}

void QuartzBitmap::setGrayFillColor(float gray) {
    ctx_->setGrayFillColor(gray, 1.0f);
}

void QuartzBitmap::fillPath(const QPainterPath& path) {
    QPainterPath current;
    QPointF start;
    QPointF last;
    const int count = path.elementCount();
    for (int i = 0; i < count; ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        switch (e.type) {
        case QPainterPath::MoveToElement:
            current.moveTo(e);
            start = last = e;
            break;
        case QPainterPath::LineToElement:
            current.lineTo(e);
            last = e;
            break;
        case QPainterPath::CurveToElement:
            if (i + 2 < count) {
                current.cubicTo(e, path.elementAt(i + 1), path.elementAt(i + 2));
                last = path.elementAt(i + 2);
            }
            i += 2;
            break;
        case QPainterPath::CurveToDataElement:
            break;
        }
        // A subpath ends at the next move or at the path's end; it closes
        // when it comes back to where it began.
        const bool subpathEnds =
            i + 1 >= count || path.elementAt(i + 1).type == QPainterPath::MoveToElement;
        if (subpathEnds && e.type != QPainterPath::MoveToElement && last == start) {
            ctx_->fillPath(current);
            current = QPainterPath();
        }
    }
}

} // namespace slidebox::draw
