#include "Plumtide/hooks/TomlForm.h"

#include <vector>

// Up to the first error of a text this sees the same strings, comments and keys as the reader; what comes
// after that error the reader never looks at.

namespace {

constexpr size_t deepestLevel = 200;

bool isAscii(char c)
{
    return static_cast<unsigned char>(c) < 0x80;
}

bool isBlankOrLineEnd(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isDigitAt(QByteArrayView text, qsizetype at)
{
    return at < text.size() && text[at] >= '0' && text[at] <= '9';
}

struct StringEnd
{
    qsizetype next = 0; // the byte after the closing quote, or after what there is of the string
    TomlForm form = TomlForm::Readable;
};

// The string whose opening quote is at `at`.
StringEnd readString(QByteArrayView text, qsizetype at)
{
    const char quote = text[at];
    const char tripled[] = {quote, quote, quote, '\0'};
    const bool isMultiLine = text.sliced(at).startsWith(tripled);
    for (at += isMultiLine ? 3 : 1; at < text.size(); ++at) {
        if (text[at] == '\\' && quote == '"') {
            if (++at == text.size())
                break;
            if (!isAscii(text[at]))
                return {at, TomlForm::Invalid};
            if (isMultiLine && isBlankOrLineEnd(text[at])) {
                while (at + 1 < text.size() && isBlankOrLineEnd(text[at + 1]))
                    ++at;
                if (at + 1 < text.size() && !isAscii(text[at + 1]))
                    return {at, TomlForm::Unreadable};
            }
        } else if (!isMultiLine) {
            if (text[at] == quote)
                return {at + 1};
            if (text[at] == '\n')
                return {at}; // not closed: an error, and the line feed still ends the statement
        } else if (text.sliced(at).startsWith(tripled)) {
            at += 3;
            for (int extra = 0; extra < 2 && at < text.size() && text[at] == quote; ++extra)
                ++at; // up to two quotes may stand before the closing ones
            return {at};
        }
    }
    return {text.size()};
}

// What is open at a point of the text.
class Position
{
public:
    [[nodiscard]] bool isInHeader() const { return m_isHeader; }
    [[nodiscard]] bool isInValue() const { return m_isValue; }
    [[nodiscard]] bool isInBrackets() const { return !m_outer.empty(); }
    [[nodiscard]] bool isTooDeep() const { return m_headerKeys + m_outerKeys + m_outer.size() + m_keys > deepestLevel; }

    void startStatement(bool isHeader)
    {
        if (m_isHeader)
            m_headerKeys = m_keys + 1;
        m_isHeader = isHeader;
        m_isValue = false;
        m_keys = 0;
    }
    void dot() { ++m_keys; }
    void equals() { m_isValue = true; }
    void comma()
    {
        m_keys = 0;
        m_isValue = isInBrackets() && m_outer.back().isArray;
    }
    void open(bool isArray)
    {
        m_outer.push_back({m_keys, isArray});
        m_outerKeys += m_keys;
        m_keys = 0;
        m_isValue = isArray;
    }
    void close()
    {
        m_keys = m_outer.back().keys;
        m_outerKeys -= m_keys;
        m_outer.pop_back();
        m_isValue = true; // still, until a comma or the end of the line
    }

private:
    struct Bracket
    {
        size_t keys = 0; // dots of the key before it
        bool isArray = false;
    };

    bool m_isHeader = false;
    bool m_isValue = false;
    size_t m_headerKeys = 0; // keys of the table header that the statements stand under
    size_t m_keys = 0;       // dots of the current key, or of a number
    size_t m_outerKeys = 0;  // sum of those in m_outer
    std::vector<Bracket> m_outer;
};

} // namespace

TomlForm examineToml(QByteArrayView text)
{
    Position position;
    bool isLineStart = true;
    char before = '\n';
    for (qsizetype at = text.startsWith("\xEF\xBB\xBF") ? 3 : 0; at < text.size(); before = text[at - 1]) {
        const char c = text[at];
        if (!isAscii(c))
            return TomlForm::Invalid;
        if (isLineStart && c != ' ' && c != '\t') {
            isLineStart = false;
            if (!position.isInBrackets())
                position.startStatement(c == '[');
        }
        // The reader takes all up to the next blank, comma or closing bracket for one number.
        const bool isInWord =
            !isBlankOrLineEnd(before) && !QByteArrayView(position.isInValue() ? "=,[" : ".,[{").contains(before);
        ++at;
        switch (c) {
        case '"':
        case '\'': {
            const StringEnd end = readString(text, at - 1);
            if (isInWord || end.form != TomlForm::Readable)
                return isInWord ? TomlForm::Invalid : end.form;
            at = end.next;
            break;
        }
        case '#':
            at = text.indexOf('\n', at);
            if (at < 0)
                return TomlForm::Readable;
            break;
        case '\n': isLineStart = true; break;
        case ' ':
            // Between a date and its time, the reader takes a digit and whatever stands after it.
            if (position.isInValue() && isInWord && isDigitAt(text, at) && !isDigitAt(text, at + 1))
                return TomlForm::Invalid;
            break;
        case '.': position.dot(); break;
        case ',': position.comma(); break;
        case '=':
            if (position.isInValue() || position.isInHeader())
                return TomlForm::Invalid;
            position.equals();
            break;
        case '[':
        case '{':
            if (position.isInHeader())
                break;
            if (isInWord || !position.isInValue())
                return TomlForm::Invalid;
            position.open(c == '[');
            break;
        case ']':
        case '}':
            if (position.isInHeader())
                break;
            if (!position.isInBrackets())
                return TomlForm::Invalid;
            position.close();
            break;
        default: break;
        }
        if (position.isTooDeep())
            return TomlForm::Unreadable;
    }
    return TomlForm::Readable;
}
