#include "Plumtide/system/Characters.h"

#include <memory>

#include <unicode/ubrk.h>

QString shortened(const QString &text)
{
    constexpr qsizetype most = 600; // code units
    if (text.size() <= most)
        return text;
    return text.first(text.at(most - 1).isHighSurrogate() ? most - 1 : most) + u'…';
}

QList<qsizetype> characterEnds(QStringView text, qsizetype most)
{
    UErrorCode error = U_ZERO_ERROR;
    // Kept, since making one takes far longer than counting a title.
    thread_local const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> characters(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &error), &ubrk_close);
    QList<qsizetype> ends;
    if (!characters) // ICU has none of its data
        return ends;
    ubrk_setText(characters.get(), text.utf16(), static_cast<int32_t>(text.size()), &error);
    for (int32_t end = 0; ends.size() < most && (end = ubrk_next(characters.get())) != UBRK_DONE;)
        ends.append(end);
    return ends;
}
