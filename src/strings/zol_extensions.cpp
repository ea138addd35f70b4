#include "strings/zol_extensions.h"

#include <algorithm>

#include "strings/url_parts.h"

namespace slidebox::strings {

namespace {
const QString kDigitSet = QStringLiteral("0123456789.");
const QString kPasswordMask = QStringLiteral("*****");
const QString kMaskedScheme = QStringLiteral("ftp");

QString reversed(const QString& text) {
    QString result = text;
    std::reverse(result.begin(), result.end());
    return result;
}

bool holdsDigitElement(const QString& element) {
    return std::any_of(element.begin(), element.end(),
                       [](QChar c) { return kDigitSet.contains(c); });
}
} // namespace

bool replaceAllStrings(QString& receiver, const QString& target, const QString& replacement) {
    if (target.isEmpty())
        return true;
    if (replacement.contains(target))
        return !receiver.contains(target); // would replace forever; nothing to do is fine

    // A replacement shorter than its target shrinks the text at every step,
    // so the loop ends. A longer one that doesn't hold its target ends too,
    // but may be made to grow without measure ("ab" -> "bbaa" doubles at
    // each "a"): the text may grow to sixteen times what replacing the
    // occurrences it holds at the start gives, and no more. One as long may
    // move occurrences about: the replacements may not outnumber the square
    // of the length, more than a reordering needs.
    const bool shrinks = replacement.size() < target.size();
    const bool sameLength = replacement.size() == target.size();
    const qsizetype startLength = receiver.size();
    const qsizetype firstPass =
        startLength +
        receiver.count(target) * std::max<qsizetype>(0, replacement.size() - target.size());
    const qsizetype maxLength = std::max<qsizetype>(firstPass * 16, firstPass + 4096);
    const qint64 maxReplacements = (qint64(startLength) + 1) * (qint64(startLength) + 1);

    // The first occurrence from the start is also the first to end, so the
    // text is read once from left to right: each character goes onto `done`
    // and, when `done` then ends with the target, the target comes off and
    // the replacement goes in front of what is still to read, to be read
    // (and searched) next. Same result as searching again from the start,
    // without going over the unchanged front again.
    QString done;
    done.reserve(receiver.size());
    QString toRead = reversed(receiver); // the next character is the last one
    const QString replacementReversed = reversed(replacement);
    const QChar targetLast = target.back();
    qint64 replacements = 0;
    while (!toRead.isEmpty()) {
        const QChar c = toRead.back();
        toRead.chop(1);
        done.append(c);
        if (c != targetLast || !done.endsWith(target))
            continue;
        done.chop(target.size());
        toRead.append(replacementReversed);
        if (shrinks)
            continue;
        if (sameLength ? ++replacements > maxReplacements : done.size() + toRead.size() > maxLength)
            return false;
    }
    receiver = std::move(done);
    return true;
}

void replaceLineFeedAndCRBySpace(QString& receiver) {
    const QString blank = QStringLiteral(" ");
    for (const QString& target : {QStringLiteral("\f"), QStringLiteral("\t"), QStringLiteral("\n"),
                                  QStringLiteral("\r"), QStringLiteral("  ")})
        replaceAllStrings(receiver, target, blank);
}

bool getNbDigitElements(const QString& receiver, qsizetype count, StringRange range,
                        QStringList& elements) {
    const qsizetype location = std::clamp<qsizetype>(range.location, 0, receiver.size());
    const qsizetype length = std::clamp<qsizetype>(range.length, 0, receiver.size() - location);
    QString text = receiver.mid(location, length);
    replaceLineFeedAndCRBySpace(text);
    const QStringList parts = text.split(QLatin1Char(' '), Qt::KeepEmptyParts);
    if (parts.size() < count)
        return false;
    qsizetype found = 0;
    for (auto it = parts.crbegin(); it != parts.crend(); ++it) {
        if (!holdsDigitElement(*it))
            continue;
        elements.insert(0, *it);
        if (++found == count)
            return true;
    }
    return false;
}

QString hidePasswordOfURLString(const QString& receiver) {
    const std::optional<UrlParts> url = UrlParts::parse(receiver);
    if (!url)
        return QString();
    const QString password =
        (url->password && url->password->isEmpty()) ? QString() : kPasswordMask;
    const QString authority =
        QStringLiteral("%1:%2@%3:%4")
            .arg(url->user.value_or(QString()), password, url->host.value_or(QString()),
                 url->port.value_or(QString()));
    QString path = url->path;
    if (!path.isEmpty() && !path.startsWith(QLatin1Char('/')))
        path.prepend(QLatin1Char('/'));
    QString result = kMaskedScheme + QStringLiteral("://") + authority + path;
    if (result.endsWith(QStringLiteral("//")))
        result.chop(2);
    return result;
}

} // namespace slidebox::strings
