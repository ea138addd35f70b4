// slidebox-cli icc list: a catalogue of profiles, the installed ones by kind
// of use and colour space or those of one folder, one row a line as a
// chooser would show them, with the header report on demand.
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "cli/icc_subcommands.h"
#include "cli/json_out.h"
#include "color/profile_manager.h"
#include "platform/file_system.h"

namespace slidebox::cli {

namespace {

using color::ProfileManager;

struct ListOptions {
    std::uint32_t use = 0x1F;
    std::uint32_t space = 0x3F;
    bool brief = false;
    bool report = false;
    std::optional<std::string> directory;
    bool fileNames = true;
    bool json = false;
};

/// A mask in decimal or in hexadecimal after "0x"; nothing for anything else
/// or a value beyond 32 bits.
std::optional<std::uint32_t> parseMask(const std::string& text) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") !=
                              std::string::npos)
        return std::nullopt;
    errno = 0;
    const unsigned long long value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
    if (errno != 0 || value > 0xFFFFFFFFull)
        return std::nullopt;
    return static_cast<std::uint32_t>(value);
}

std::optional<std::string> parse(const std::vector<std::string>& args, ListOptions& options) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--use" || arg == "--space" || arg == "--dir") {
            if (i + 1 >= args.size() || args[i + 1].empty())
                return arg + " needs a value";
            const std::string& value = args[++i];
            if (arg == "--dir") {
                options.directory = value;
                continue;
            }
            auto mask = parseMask(value);
            if (!mask)
                return arg + " takes a mask in decimal or 0x hexadecimal";
            (arg == "--use" ? options.use : options.space) = *mask;
        } else if (arg == "--brief") {
            options.brief = true;
        } else if (arg == "--report") {
            options.report = true;
        } else if (arg == "--json") {
            options.json = true;
        } else if (arg == "--no-file-names") {
            options.fileNames = false;
        } else {
            return "unknown argument '" + arg + "'";
        }
    }
    if (!options.fileNames && !options.directory)
        return "--no-file-names goes with --dir";
    return std::nullopt;
}

std::string field(ProfileManager& catalogue, const char* identifier, std::int32_t row) {
    return catalogue.objectValueForTableColumn(identifier, row).value_or("");
}

int iccList(const std::vector<std::string>& args) {
    ListOptions options;
    if (auto problem = parse(args, options))
        return usageError("icc list: " + *problem);

    std::unique_ptr<ProfileManager> catalogue;
    if (options.directory)
        catalogue = ProfileManager::initWithUse(options.use, options.space, !options.brief,
                                                std::filesystem::path(*options.directory),
                                                options.fileNames);
    else
        catalogue = ProfileManager::initWithUse(options.use, options.space, !options.brief);
    if (!catalogue) {
        if (options.directory && !platform::isDirectory(*options.directory))
            return failure("icc list: '" + *options.directory + "': no such folder");
        return failure("icc list: no profile of these kinds and spaces");
    }

    JsonWriter out;
    out.beginArray();
    for (std::int32_t row = 0; row < catalogue->count(); ++row) {
        if (catalogue->isASeparatorAtIndex(row)) {
            if (!options.json)
                printLine("");
            continue;
        }
        const std::string fields[] = {field(*catalogue, "name", row),
                                      catalogue->profileFileNameAtIndex(row).value_or(""),
                                      catalogue->profilePathAtIndex(row).value_or("").native(),
                                      field(*catalogue, "colorSpace", row),
                                      field(*catalogue, "kindOfUse", row),
                                      field(*catalogue, "pcs", row)};
        if (options.json) {
            out.beginObject();
            const char* keys[] = {"name", "file", "path", "space", "class", "PCS"};
            for (std::size_t k = 0; k < std::size(keys); ++k)
                out.key(keys[k]).value(k < 3 ? fields[k] : withoutNuls(fields[k]));
            if (options.report)
                out.key("creation date").value(field(*catalogue, "creationDate", row));
            if (options.report && !options.brief)
                out.key("report").value(withoutNuls(field(*catalogue, "headerInfos", row)));
            out.endObject();
            continue;
        }
        std::string line = fields[0];
        for (std::size_t k = 1; k < std::size(fields); ++k)
            line += "\t" + (k < 3 ? fields[k] : withoutNuls(fields[k]));
        if (options.report)
            line += "\t" + field(*catalogue, "creationDate", row);
        printLine(line);
        if (options.report && !options.brief) {
            std::istringstream report(withoutNuls(field(*catalogue, "headerInfos", row)));
            for (std::string reportLine; std::getline(report, reportLine);)
                printLine("\t" + reportLine);
        }
    }
    if (options.json)
        printLine(out.endArray().text());
    return Done;
}

const IccSubcommand list(
    "list",
    "  icc list [--use MASK] [--space MASK] [--brief] [--report] [--dir DIR [--no-file-names]]\n"
    "           [--json]\n"
    "                               installed profiles (or those of DIR) by class and space\n"
    "                               masks: name, file, path, space, class, PCS a line; an empty\n"
    "                               line between groups\n",
    iccList);

} // namespace

} // namespace slidebox::cli
