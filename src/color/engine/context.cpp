// The engine's context, its complaints and its counters.
#include <atomic>

#include "color/engine/lcms.h"

namespace slidebox::color::engine {

namespace {

// A complaint belongs to the call on this thread that caused it; the caller
// that fails turns it into its one reason. Logging each complaint would
// write dozens of lines for one damaged profile.
thread_local std::string lastComplaint;

void keepComplaint(cmsContext, cmsUInt32Number, const char* text) {
    if (lastComplaint.empty() && text)
        lastComplaint = text;
}

std::atomic<std::uint64_t> profilesOpened{0};
std::atomic<std::uint64_t> worldsBuilt{0};

} // namespace

cmsContext context() {
    static const cmsContext made = [] {
        cmsContext c = cmsCreateContext(nullptr, nullptr);
        if (c)
            cmsSetLogErrorHandlerTHR(c, keepComplaint);
        return c;
    }();
    return made;
}

std::string takeComplaint() {
    std::string text;
    text.swap(lastComplaint);
    return text;
}

void countProfileOpened() {
    ++profilesOpened;
}

void countWorldBuilt() {
    ++worldsBuilt;
}

} // namespace slidebox::color::engine

namespace slidebox::color {

CMEngineCounters CMGetEngineCounters() {
    return {engine::profilesOpened.load(), engine::worldsBuilt.load()};
}

} // namespace slidebox::color
