#pragma once

#include <QList>
#include <QRegularExpression>
#include <QString>

/// At most 600 code units of `text`, and "…" if it is longer: text engines and D-Bus cannot cope with megabytes.
[[nodiscard]] QString shortened(const QString &text);

/// The ends, in code units, of the first `most` user-perceived characters of a well-formed `text`. Thread: any.
/// These are the extended grapheme clusters of Unicode's annex 29, found by Qt's regular expressions, because
/// QTextBoundaryFinder counts wrongly between an emoji and Thai or Indic text in every version up to 6.11.
[[nodiscard]] QList<qsizetype> characterEnds(const QString &text, qsizetype most);

/// Matches every line break of Unicode, U+2028 included. Thread: any.
[[nodiscard]] const QRegularExpression &lineBreaks();
