#include "Plumtide/system/Characters.h"

using namespace Qt::StringLiterals;

namespace {

QRegularExpression characterPattern()
{
    const QRegularExpression character(uR"(\X)"_s);
    const QString twoCharacters = u"👍👍"_s;
    if (character.match(twoCharacters).capturedLength() < twoCharacters.size())
        return character;
    // PCRE2 10.42 (Debian 12) takes several emoji in a row for one character. This is the annex's rule GB11.
    return QRegularExpression(
        uR"(\p{ExtPict}(?:[\p{GrExt}\p{EMod}]*\x{200D}\p{ExtPict})*[\p{GrExt}\p{EMod}\p{Mc}\x{200D}]*|\X)"_s);
}

} // namespace

QString shortened(const QString &text)
{
    constexpr qsizetype most = 600; // code units
    if (text.size() <= most)
        return text;
    return text.first(text.at(most - 1).isHighSurrogate() ? most - 1 : most) + u'…';
}

QList<qsizetype> characterEnds(const QString &text, qsizetype most)
{
    static const QRegularExpression character = characterPattern();
    QList<qsizetype> ends;
    for (auto found = character.globalMatch(text); ends.size() < most && found.hasNext();)
        ends.append(found.next().capturedEnd());
    return ends;
}

const QRegularExpression &lineBreaks()
{
    static const QRegularExpression breaks(u"\\R"_s);
    return breaks;
}
