#include "Plumtide/model/WellFormed.h"

QString wellFormed(QString text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar unit = text.at(i);
        if (unit.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
            ++i;
        else if (unit.isNull() || unit.isSurrogate())
            text[i] = QChar::ReplacementCharacter;
    }
    return text;
}
