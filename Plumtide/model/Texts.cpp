#include "Plumtide/model/Texts.h"

namespace {

// The index of the first code unit that is not well formed, at or after `from`; the size when there is none.
qsizetype firstIllFormed(const QString &text, qsizetype from)
{
    for (qsizetype i = from; i < text.size(); ++i) {
        const QChar unit = text.at(i);
        if (unit.isNull())
            return i;
        if (!unit.isSurrogate())
            continue;
        const bool isPair = unit.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (!isPair)
            return i;
        ++i;
    }
    return text.size();
}

} // namespace

QString wellFormed(QString text)
{
    for (qsizetype i = firstIllFormed(text, 0); i < text.size(); i = firstIllFormed(text, i + 1))
        text[i] = QChar::ReplacementCharacter;
    return text;
}
