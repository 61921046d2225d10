#pragma once

#include <QByteArrayView>

/// What can be told of a TOML text before toml++ reads it.
enum class TomlForm {
    Readable,   ///< Nothing here upsets the reader; it may still find the text invalid.
    Invalid,    ///< Not TOML, in a way on which the reader's behaviour is undefined.
    Unreadable, ///< Perhaps valid, and still not to be given to the reader.
};

/// Keeps from toml++ 3.3 what it cannot stand. It builds and drops nested tables and arrays by recursion,
/// with no limit for the dots of a key: above 200 levels, each dot counted, a text is unreadable; real files
/// have a handful. And its test for blanks is undefined for many characters outside of ASCII: they are
/// invalid outside of strings and comments and after a backslash, and unreadable where a string goes on after
/// a backslash at a line's end. `text` is UTF-8. Thread: any.
[[nodiscard]] TomlForm examineToml(QByteArrayView text);
