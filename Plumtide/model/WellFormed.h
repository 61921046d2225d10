#pragma once

#include <QString>

/// `text` with every lone surrogate and every NUL replaced by U+FFFD. Neither survives a round through UTF-8 files
/// and C interfaces, and both arrive from outside: agents send lone surrogates as JSON escapes.
[[nodiscard]] QString wellFormed(const QString &text);
