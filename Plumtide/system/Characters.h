#pragma once

#include <QList>
#include <QStringView>

/// `text` as it is drawn, spoken and notified: of one that is too long for any reader only the beginning, and "…". Text
/// engines, screen readers and the bus do not get along with megabytes. Thread: any.
[[nodiscard]] QString shortened(const QString &text);

/// Where the first `most` user-perceived characters of `text` end, in code units; fewer where it has fewer. The cost is
/// that of these characters, however long the text is. Thread: any.
/// By ICU, which Qt has loaded anyway: the finder of Qt 6.4 loses count after emoji sequences and in several scripts.
[[nodiscard]] QList<qsizetype> characterEnds(QStringView text, qsizetype most);
