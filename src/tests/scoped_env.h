#pragma once

// An environment variable set for a test's life and put back after it.

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace slidebox::testing {

class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name))
            previous_ = old;
        set(value);
    }
    ~ScopedEnv() { set(previous_ ? previous_->c_str() : nullptr); }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    void set(const char* value) {
        value ? ::setenv(name_.c_str(), value, 1) : ::unsetenv(name_.c_str());
        ::tzset();
    }
    std::string name_;
    std::optional<std::string> previous_;
};

} // namespace slidebox::testing
