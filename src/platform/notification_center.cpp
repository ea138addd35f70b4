#include "platform/notification_center.h"

#include <algorithm>

namespace slidebox::platform {

NotificationCenter::Observation::Observation(Observation&& other) noexcept
    : center_(other.center_), id_(other.id_) {
    other.center_ = nullptr;
}

NotificationCenter::Observation&
NotificationCenter::Observation::operator=(Observation&& other) noexcept {
    if (this != &other) {
        reset();
        center_ = other.center_;
        id_ = other.id_;
        other.center_ = nullptr;
    }
    return *this;
}

NotificationCenter::Observation::~Observation() {
    reset();
}

void NotificationCenter::Observation::reset() {
    if (center_)
        center_->remove(id_);
    center_ = nullptr;
}

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter center;
    return center;
}

NotificationCenter::Observation NotificationCenter::addObserver(std::string name, Handler handler) {
    std::uint64_t id = nextId_++;
    entries_.push_back({id, std::move(name), std::make_shared<Handler>(std::move(handler))});
    return Observation(this, id);
}

void NotificationCenter::remove(std::uint64_t id) {
    std::erase_if(entries_, [id](const Entry& e) { return e.id == id; });
}

void NotificationCenter::postNotificationName(const std::string& name, const void* object) {
    // Listeners may add or remove listeners while being told: work on a copy
    // of the ids and look each one up again before calling it.
    std::vector<std::uint64_t> ids;
    for (const auto& e : entries_)
        if (e.name == name)
            ids.push_back(e.id);
    for (std::uint64_t id : ids) {
        auto it = std::find_if(entries_.begin(), entries_.end(),
                               [id](const Entry& e) { return e.id == id; });
        if (it == entries_.end())
            continue;
        std::shared_ptr<Handler> handler = it->handler; // kept alive through the call
        (*handler)(object);
    }
}

} // namespace slidebox::platform
