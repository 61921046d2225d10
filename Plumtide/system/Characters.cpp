#include "Plumtide/system/Characters.h"

#include <memory>

#include <unicode/ubrk.h>

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
