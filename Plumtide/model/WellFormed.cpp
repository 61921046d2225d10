#include "Plumtide/model/WellFormed.h"

QString wellFormed(const QString &text)
{
    if (text.isValidUtf16() && !text.contains(QChar::Null))
        return text;
    // On the way through code points, Qt replaces what has none.
    return QString::fromStdU32String(text.toStdU32String()).replace(QChar::Null, QChar::ReplacementCharacter);
}
