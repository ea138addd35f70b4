#include <gtest/gtest.h>

#include <fstream>
#include <optional>

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

TEST(ReplaceLineFeedAndCR, EveryKindOfWhiteSpaceBecomesOneBlank) {
    const std::pair<QString, QString> rows[] = {
        {"\n\r\t", " "},
        {"\fone\ttwo  \n three\r", " one two three "}, // an end blank stays, as one blank
        {"a\vb", "a\vb"},                              // vertical tab is not in the list
    };
    for (auto [text, expected] : rows) {
        replaceLineFeedAndCRBySpace(text);
        EXPECT_EQ(text, expected);
    }
}

TEST(GetNbDigitElements, WhichElementsQualifyAndWhereTheyGo) {
    const struct {
        QString text;
        int count;
        StringRange range; // length -1: the whole text
        QStringList before;
        bool answer;
        QStringList after;
    } rows[] = {
        {"10.5\n20.25\r\n30", 2, {0, -1}, {}, true, {"20.25", "30"}}, // the last `count`, in order
        {"12 word 34", 3, {0, -1}, {}, false, {"12", "34"}},       // too few: what was found stays
        {"5", 2, {0, -1}, {"kept"}, false, {"kept"}},              // too few elements: untouched
        {" 5", 2, {0, -1}, {"kept"}, false, {"5", "kept"}},        // an empty first element counts
        {"x 7 y 8", 2, {0, -1}, {"old"}, true, {"7", "8", "old"}}, // new ones go ahead of old
        {"a1 . word b2c", 0, {0, -1}, {}, false, {"a1", ".", "b2c"}}, // any digit or stop
        {"1 2 3 4", 2, {2, 3}, {}, true, {"2", "3"}},                 // only the range counts
        {"1 2 3 4", 1, {4, 100}, {}, true, {"4"}},                    // an overlong range is cut
        {"1 2 3 4", 1, {50, 3}, {}, false, {}},                       // nothing there
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(qPrintable(row.text));
        QStringList found = row.before;
        const StringRange range{row.range.location,
                                row.range.length < 0 ? row.text.size() : row.range.length};
        EXPECT_EQ(getNbDigitElements(row.text, row.count, range, found), row.answer);
        EXPECT_EQ(found, row.after);
    }
}

TEST(HidePassword, FtpAddressWithFiveAsterisksForAnyPassword) {
    std::ifstream rows(SLIDEBOX_STRINGS_TEST_DATA "/hide_password.txt");
    int count = 0;
    for (std::string row; std::getline(rows, row);) {
        if (row.empty() || row[0] == '#')
            continue;
        const auto tab = row.find('\t');
        ASSERT_NE(tab, std::string::npos) << row;
        EXPECT_EQ(hidePasswordOfURLString(QString::fromStdString(row.substr(0, tab))),
                  QString::fromStdString(row.substr(tab + 1)))
            << row;
        ++count;
    }
    EXPECT_GT(count, 0);
}
