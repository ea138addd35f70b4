#pragma once

#include <filesystem>
#include <functional>
#include <vector>

namespace slidebox::testing {

/// Runs body as a user who is not root, so that mode bits deny reading as
/// they would for a user (root reads any file): run as it is when the test
/// isn't root; as root, in a child process as "nobody", after handing the
/// given paths to that user. Returns what body returned (a failing check's
/// number, 0 for none); -1 when the user could not be changed. The child
/// can't report through the test framework, hence the number.
int runAsUnprivilegedUser(const std::function<int()>& body,
                          const std::vector<std::filesystem::path>& handOver = {});

} // namespace slidebox::testing
