#include <gtest/gtest.h>

#include <fstream>

#include "strings/url_parts.h"
#include "strings/zol_extensions.h"

using namespace slidebox::strings;

namespace {
// The operation as told: find the first occurrence from the start, replace,
// start over. Bounded here so that the comparison always ends.
std::optional<QString> replaceFromStartEachTime(QString text, const QString& target,
                                                const QString& replacement) {
    for (int step = 0; step < 10000; ++step) {
        const qsizetype at = text.indexOf(target);
        if (at < 0)
            return text;
        text.replace(at, target.size(), replacement);
    }
    return std::nullopt;
}

// The rows of a data file: TAB-separated fields, \n \r \t \f \v \xHH
// escaped; comment and empty lines left out.
std::vector<QStringList> rows(const char* name) {
    std::ifstream file(std::string(SLIDEBOX_STRINGS_TEST_DATA "/") + name);
    std::vector<QStringList> result;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        std::string text;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char c = line[i] == '\\' && i + 1 < line.size() ? line[++i] : 0;
            if (c == 'x')
                text += static_cast<char>(std::stoi(line.substr((i += 2) - 1, 2), nullptr, 16));
            else if (c)
                text += std::string("\n\r\t\f\v\\")[std::string("nrtfv\\").find(c)];
            else
                text += line[i] == '\t' ? '\x1f' : line[i]; // escaped tabs stay in their field
        }
        result.push_back(QString::fromUtf8(text).split(QChar(0x1f)));
    }
    EXPECT_FALSE(result.empty()) << name;
    return result;
}
} // namespace

TEST(ReplaceAllStrings, SameResultAsStartingOverAfterEachReplacement) {
    // Every text of a and b up to nine long, under rules that shrink, keep
    // or grow the text and make new occurrences out of the replacement.
    const std::pair<QString, QString> rules[] = {{"ab", "ba"},  {"ab", "b"},   {"aa", "a"},
                                                 {"aba", "b"},  {"ab", "bba"}, {"ba", ""},
                                                 {"abb", "bab"}};
    for (int bits = 0; bits < (1 << 9); ++bits)
        for (int length : {3, 6, 9}) {
            QString text;
            for (int i = 0; i < length; ++i)
                text += (bits >> i & 1) ? QLatin1Char('b') : QLatin1Char('a');
            for (const auto& [target, replacement] : rules) {
                QString actual = text;
                ASSERT_TRUE(replaceAllStrings(actual, target, replacement)) << qPrintable(text);
                ASSERT_EQ(actual, replaceFromStartEachTime(text, target, replacement))
                    << qPrintable(text) << " " << qPrintable(target);
            }
        }
}

TEST(ReplaceAllStrings, EdgesAndRequestsThatNeverEnd) {
    const struct {
        QString text, target, replacement;
        bool ends;
        QString expected;
    } rows[] = {
        {"abc", "", "x", true, "abc"},  // empty target
        {"abc", "B", "x", true, "abc"}, // exact: case counts
        {"x-x", "x", QString(5000, u'y'), true, QString(5000, u'y') + "-" + QString(5000, u'y')},
        {"xax", "a", "aa", false, "xax"},    // the replacement holds its target: refused, unchanged
        {"xyz", "a", "aa", true, "xyz"},     // ...unless there is nothing to replace
        {"aab", "ab", "bbaa", false, "aab"}, // a new "ab" every time, without holding one
    };
    for (const auto& row : rows) {
        QString text = row.text;
        EXPECT_EQ(replaceAllStrings(text, row.target, row.replacement), row.ends)
            << qPrintable(row.text);
        EXPECT_EQ(text, row.expected);
    }
}

// Every kind of white space becomes one blank; an FTP address shows five
// asterisks for any password.
TEST(TextRewrites, WhiteSpaceBecomesOneBlankAndPasswordsAreHidden) {
    for (QStringList row : rows("white_space.txt")) {
        replaceLineFeedAndCRBySpace(row[0]);
        EXPECT_EQ(row[0], row[1]);
    }
    for (const QStringList& row : rows("hide_password.txt"))
        EXPECT_EQ(hidePasswordOfURLString(row[0]), row[1]) << qPrintable(row[0]);
}

TEST(GetNbDigitElements, WhichElementsQualifyAndWhereTheyGo) {
    const auto list = [](const QString& text) {
        return text == "-" ? QStringList() : text.split(QLatin1Char('|'));
    };
    for (const QStringList& row : rows("digit_elements.txt")) {
        SCOPED_TRACE(qPrintable(row[0]));
        QStringList found = list(row[4]);
        const StringRange range{row[2].toInt(), row[3] == "-1" ? row[0].size() : row[3].toInt()};
        EXPECT_EQ(getNbDigitElements(row[0], row[1].toInt(), range, found), row[5] == "1");
        EXPECT_EQ(found, list(row[6]));
    }
}

TEST(UrlParts, SplitsAnAddressTellingAbsentFromEmptyAndRefusesWhatNoAddressHolds) {
    const auto part = [](const QString& text) {
        return text == "-" ? std::nullopt : std::optional(text == "\"\"" ? QString() : text);
    };
    for (const QStringList& row : rows("url_parts.txt")) {
        SCOPED_TRACE(qPrintable(row[0]));
        auto url = slidebox::strings::UrlParts::parse(*part(row[0]));
        ASSERT_EQ(url.has_value(), row.size() == 7);
        if (url) {
            EXPECT_EQ((QList<std::optional<QString>>{url->scheme, url->user, url->password,
                                                     url->host, url->port, url->path}),
                      (QList<std::optional<QString>>{row[1], part(row[2]), part(row[3]),
                                                     part(row[4]), part(row[5]), row[6]}));
        }
    }
}
