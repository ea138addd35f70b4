#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace slidebox::platform {

/// Name-based notifications, delivered synchronously: post() calls every
/// listener of the name before it returns, on the posting thread (always the
/// main thread here). The object identifies the sender; there is no user info.
class NotificationCenter {
  public:
    using Handler = std::function<void(const void* object)>;

    /// Removes its listener when it ends. Move-only.
    class Observation {
      public:
        Observation() = default;
        Observation(Observation&&) noexcept;
        Observation& operator=(Observation&&) noexcept;
        ~Observation();
        void reset();

      private:
        friend class NotificationCenter;
        Observation(NotificationCenter* center, std::uint64_t id) : center_(center), id_(id) {}
        NotificationCenter* center_ = nullptr;
        std::uint64_t id_ = 0;
    };

    /// The process's one centre.
    static NotificationCenter& defaultCenter();

    /// Listens to a name until the returned observation ends.
    [[nodiscard]] Observation addObserver(std::string name, Handler handler);

    /// Calls every listener of the name, in the order they were added. A
    /// listener added or removed during the delivery takes effect for the
    /// next one; a removed listener is not called.
    void postNotificationName(const std::string& name, const void* object);

  private:
    struct Entry {
        std::uint64_t id;
        std::string name;
        std::shared_ptr<Handler> handler;
    };
    void remove(std::uint64_t id);
    std::vector<Entry> entries_;
    std::uint64_t nextId_ = 1;
};

} // namespace slidebox::platform
