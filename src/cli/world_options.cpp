// The arguments that name profiles and build colour worlds: these need the
// colour toolkit, so they live with the commands module, not in the program.
#include "cli/arguments.h"

#include "color/profile_manager.h"

namespace slidebox::cli {

std::optional<std::filesystem::path> profileArgument(const std::string& argument) {
    if (argument == "lab")
        return color::ProfileManager::pathOfGenericLabProfil();
    return std::filesystem::path(argument);
}

bool WorldOptions::isOption(const std::string& arg) {
    return arg == "--src" || arg == "--dst" || arg == "--intent" || arg == "--intent-out" ||
           arg == "--bpc" || arg == "--no-optimize";
}

std::optional<std::string> WorldOptions::take(const std::vector<std::string>& args,
                                              std::size_t& i) {
    const std::string& arg = args[i];
    if (arg == "--bpc") {
        engine.blackPointCompensation = true;
        return std::nullopt;
    }
    if (arg == "--no-optimize") {
        engine.optimize = false;
        return std::nullopt;
    }
    if (i + 1 >= args.size() || args[i + 1].empty())
        return arg + " needs a value";
    const std::string& value = args[++i];
    if (arg == "--src") {
        source = value;
    } else if (arg == "--dst") {
        destination = value;
    } else {
        auto intent = intentArgument(value);
        if (!intent)
            return arg + " takes an intent 0..3";
        (arg == "--intent" ? intentIn : intentOut.emplace()) = *intent;
    }
    return std::nullopt;
}

} // namespace slidebox::cli
