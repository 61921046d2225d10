#pragma once

#include <QByteArray>
#include <QString>

#include <ostream>

// What a failed expectation shows instead of raw bytes.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray &bytes, std::ostream *out)
{
    *out << '"' << bytes.toStdString() << '"';
}
