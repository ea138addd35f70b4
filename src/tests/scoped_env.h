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
        ::setenv(name, value, 1);
        ::tzset();
    }
    ~ScopedEnv() {
        if (previous_)
            ::setenv(name_.c_str(), previous_->c_str(), 1);
        else
            ::unsetenv(name_.c_str());
        ::tzset();
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    std::string name_;
    std::optional<std::string> previous_;
};

} // namespace slidebox::testing
