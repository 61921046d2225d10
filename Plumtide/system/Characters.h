#pragma once

#include <QList>
#include <QString>

/// `text` as it is drawn, spoken and notified: of one that is too long for any reader only the beginning, and "…". Text
/// engines, screen readers and the bus do not get along with megabytes. Thread: any.
[[nodiscard]] QString shortened(const QString &text);

/// Where the first `most` user-perceived characters of `text` end, in code units; fewer where it has fewer. `text` must
/// be well-formed UTF-16. Thread: any.
/// These are the extended grapheme clusters of Unicode's annex 29, found by Qt's regular expressions:
/// QTextBoundaryFinder loses count between an emoji and Thai or Indic text in every version up to 6.11.
[[nodiscard]] QList<qsizetype> characterEnds(const QString &text, qsizetype most);
