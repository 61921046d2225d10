#pragma once

#include "Plumtide/system/Outcome.h"

#include <QByteArray>
#include <QByteArrayView>

#include <string>
#include <vector>

/// A JSON text that can be changed and written again without loss: every number keeps its own digits, members
/// with the same key are all kept, in their order, and no depth of nesting uses the program's stack. Nodes
/// are numbers that stay valid as long as the tree; views of its texts only until the next append.
/// Thread: any, one at a time.
class JsonTree
{
public:
    using Node = quint32;
    static constexpr Node none = 0xFFFF'FFFF;
    static constexpr Node root = 0;

    enum class Kind : quint8 { Null, False, True, Number, String, Array, Object };

    /// Reads one JSON value of any kind; a byte order mark before it is dropped. Fails, with a sentence that
    /// names the line, where the text is not JSON, is not UTF-8, escapes half a surrogate pair or holds a
    /// number beyond the range of a double. Texts of up to `maxBytes` bytes.
    static Outcome<JsonTree> parse(const QByteArray &text);
    static constexpr qsizetype maxBytes = 16 * 1024 * 1024;

    [[nodiscard]] Kind kind(Node node) const { return m_items[node].kind; }
    [[nodiscard]] Node firstChild(Node node) const { return m_items[node].firstChild; } ///< Or `none`.
    [[nodiscard]] Node next(Node node) const { return m_items[node].next; }             ///< Or `none`.

    /// The characters of a string in UTF-8, or the digits of a number as they were written.
    [[nodiscard]] QByteArrayView text(Node node) const;

    /// The member of an object, the last one where a key stands twice as that is what readers take; or
    /// `none`.
    [[nodiscard]] Node member(Node object, QByteArrayView key) const;

    /// Adds a value at the end of an array.
    Node append(Node array, Kind kind, QByteArrayView text = {});
    /// Adds a member at the end of an object.
    Node append(Node object, QByteArrayView key, Kind kind, QByteArrayView text = {});

    /// The text with the members of every object sorted by the bytes of their UTF-8 keys, indented by two
    /// spaces (what lies deeper than 64 levels stays on one line) and ended by a line feed. Fails above
    /// `maxBytes`.
    Outcome<QByteArray> write();

private:
    class Builder;

    struct Item
    {
        Kind kind = Kind::Null;
        Node parent = none;
        Node firstChild = none;
        Node lastChild = none;
        Node next = none;
        quint32 keyBegin = 0; // ranges of m_texts, in bytes
        quint32 keySize = 0;
        quint32 textBegin = 0;
        quint32 textSize = 0;
    };

    JsonTree() = default;
    [[nodiscard]] QByteArrayView key(Node node) const;
    quint32 store(QByteArrayView text);
    void sortMembers();

    std::vector<Item> m_items;
    std::string m_texts;
};
