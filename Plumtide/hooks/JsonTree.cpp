#include "Plumtide/hooks/JsonTree.h"

#include <nlohmann/json.hpp>

#include <algorithm>

#include <locale.h>

using namespace Qt::StringLiterals;

namespace {

// The reader takes the decimal point of the current locale into a number's text, and Qt programs run in the
// user's.
class PlainNumbers
{
public:
    PlainNumbers() : m_plain(::newlocale(LC_NUMERIC_MASK, "C", nullptr)), m_users(::uselocale(m_plain)) {}
    ~PlainNumbers()
    {
        ::uselocale(m_users);
        if (m_plain)
            ::freelocale(m_plain);
    }
    PlainNumbers(const PlainNumbers &) = delete;
    PlainNumbers &operator=(const PlainNumbers &) = delete;

private:
    locale_t m_plain;
    locale_t m_users;
};

void writeString(QByteArray &out, QByteArrayView text)
{
    out += '"';
    for (const char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\f': out += "\\f"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
                out += "\\u" + QByteArray::number(static_cast<int>(c), 16).rightJustified(4, '0');
            else
                out += c;
        }
    }
    out += '"';
}

// Whether values at `depth` stand on lines of their own. Without an end to that, the indentation would grow
// as the square of the depth.
bool startsLine(qsizetype depth)
{
    constexpr qsizetype deepestLine = 64;
    return depth <= deepestLine;
}

void startLine(QByteArray &out, qsizetype depth)
{
    out += '\n';
    out.append(2 * depth, ' ');
}

Failure tooLarge()
{
    return {u"内容太大，超过了 %1 MiB"_s.arg(JsonTree::maxBytes / (1024 * 1024))};
}

} // namespace

// Takes the reader's events and appends to the container that is open at the time.
class JsonTree::Builder
{
public:
    Builder(JsonTree &tree, const QByteArray &text) : m_tree(tree), m_text(text) {}

    [[nodiscard]] const Failure &failure() const { return m_failure; }

    bool null() { return add(Kind::Null); }
    bool boolean(bool value) { return add(value ? Kind::True : Kind::False); }
    bool number_integer(qint64 value)
    {
        // Only what begins with a minus sign comes here, so a zero was "-0".
        return add(Kind::Number, value == 0 ? QByteArray("-0") : QByteArray::number(value));
    }
    bool number_unsigned(quint64 value) { return add(Kind::Number, QByteArray::number(value)); }
    bool number_float(double, const std::string &text) { return add(Kind::Number, text); }
    bool string(const std::string &text) { return add(Kind::String, text); }
    bool binary(const std::vector<std::uint8_t> &) { return false; } // not in a text

    bool start_object(std::size_t) { return open(Kind::Object); }
    bool start_array(std::size_t) { return open(Kind::Array); }
    bool end_object() { return close(); }
    bool end_array() { return close(); }
    bool key(const std::string &text)
    {
        m_key = text;
        return true;
    }

    bool parse_error(std::size_t position, const std::string &, const nlohmann::json::exception &error)
    {
        constexpr int numberOutOfRange = 406;
        // The last byte read is the offending one; at the end of the text, it is one past the last.
        const qsizetype offending = qBound<qsizetype>(0, static_cast<qsizetype>(position) - 1, m_text.size());
        const qsizetype line = 1 + m_text.first(offending).count('\n');
        m_failure = {error.id == numberOutOfRange ? u"第 %1 行有一个过大的数字"_s.arg(line)
                                                  : u"第 %1 行附近不是有效的 JSON"_s.arg(line)};
        return false;
    }

private:
    bool add(Kind kind, QByteArrayView text = {})
    {
        if (m_open == none)
            m_tree.m_items.push_back(
                {.kind = kind, .textBegin = m_tree.store(text), .textSize = static_cast<quint32>(text.size())});
        else if (m_tree.kind(m_open) == Kind::Object)
            m_tree.append(m_open, m_key, kind, text);
        else
            m_tree.append(m_open, kind, text);
        return true;
    }

    bool open(Kind kind)
    {
        add(kind);
        m_open = static_cast<Node>(m_tree.m_items.size() - 1);
        return true;
    }

    bool close()
    {
        m_open = m_tree.m_items[m_open].parent;
        return true;
    }

    JsonTree &m_tree;
    const QByteArray &m_text;
    Node m_open = none;
    std::string m_key;
    Failure m_failure;
};

Outcome<JsonTree> JsonTree::parse(const QByteArray &text)
{
    if (text.size() > maxBytes)
        return tooLarge();
    // The reader takes a NUL for the end of the text and would drop what follows.
    if (const qsizetype end = text.indexOf('\0'); end >= 0)
        return Failure{u"第 %1 行附近不是有效的 JSON"_s.arg(1 + text.first(end).count('\n'))};

    const PlainNumbers plainNumbers;
    JsonTree tree;
    Builder builder(tree, text);
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder))
        return builder.failure();
    return tree;
}

QByteArrayView JsonTree::text(Node node) const
{
    const Item &item = m_items[node];
    return QByteArrayView(m_texts.data() + item.textBegin, static_cast<qsizetype>(item.textSize));
}

QByteArrayView JsonTree::key(Node node) const
{
    const Item &item = m_items[node];
    return QByteArrayView(m_texts.data() + item.keyBegin, static_cast<qsizetype>(item.keySize));
}

JsonTree::Node JsonTree::member(Node object, QByteArrayView key) const
{
    Node found = none;
    for (Node child = firstChild(object); child != none; child = next(child)) {
        if (this->key(child) == key)
            found = child;
    }
    return found;
}

quint32 JsonTree::store(QByteArrayView text)
{
    const auto begin = static_cast<quint32>(m_texts.size());
    m_texts.append(text.data(), static_cast<size_t>(text.size()));
    return begin;
}

JsonTree::Node JsonTree::append(Node array, Kind kind, QByteArrayView text)
{
    const auto node = static_cast<Node>(m_items.size());
    m_items.push_back(
        {.kind = kind, .parent = array, .textBegin = store(text), .textSize = static_cast<quint32>(text.size())});
    Item &parent = m_items[array];
    (parent.firstChild == none ? parent.firstChild : m_items[parent.lastChild].next) = node;
    parent.lastChild = node;
    return node;
}

JsonTree::Node JsonTree::append(Node object, QByteArrayView key, Kind kind, QByteArrayView text)
{
    const Node node = append(object, kind, text);
    m_items[node].keyBegin = store(key);
    m_items[node].keySize = static_cast<quint32>(key.size());
    return node;
}

void JsonTree::sortMembers()
{
    std::vector<Node> members;
    const auto keyLess = [this](Node a, Node b) {
        // By bytes: std::string_view compares them as unsigned.
        return std::string_view(key(a).data(), static_cast<size_t>(key(a).size()))
            < std::string_view(key(b).data(), static_cast<size_t>(key(b).size()));
    };
    for (Item &object : m_items) {
        if (object.kind != Kind::Object || object.firstChild == none)
            continue;
        members.clear();
        for (Node child = object.firstChild; child != none; child = next(child))
            members.push_back(child);
        std::stable_sort(members.begin(), members.end(), keyLess); // of equal keys, the last stays so
        object.firstChild = members.front();
        object.lastChild = members.back();
        for (size_t i = 0; i < members.size(); ++i)
            m_items[members[i]].next = i + 1 < members.size() ? members[i + 1] : none;
    }
}

Outcome<QByteArray> JsonTree::write()
{
    sortMembers();

    QByteArray out;
    qsizetype depth = 0;
    Node node = root;
    for (;;) {
        const Item &item = m_items[node];
        if (item.parent != none && kind(item.parent) == Kind::Object) {
            writeString(out, key(node));
            out += ": ";
        }
        switch (item.kind) {
        case Kind::Null: out += "null"; break;
        case Kind::False: out += "false"; break;
        case Kind::True: out += "true"; break;
        case Kind::Number: out += text(node); break;
        case Kind::String: writeString(out, text(node)); break;
        case Kind::Array: out += item.firstChild == none ? "[]" : "["; break;
        case Kind::Object: out += item.firstChild == none ? "{}" : "{"; break;
        }
        if (out.size() > maxBytes)
            return tooLarge();

        if (item.firstChild != none) {
            if (startsLine(++depth))
                startLine(out, depth);
            node = item.firstChild;
            continue;
        }
        while (node != root && next(node) == none) {
            node = m_items[node].parent;
            if (startsLine(depth--))
                startLine(out, depth);
            out += kind(node) == Kind::Array ? ']' : '}';
        }
        if (node == root)
            break;
        out += ',';
        if (startsLine(depth))
            startLine(out, depth);
        node = next(node);
    }
    out += '\n';
    if (out.size() > maxBytes)
        return tooLarge();
    return out;
}
