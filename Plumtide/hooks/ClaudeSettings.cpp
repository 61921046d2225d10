#include "Plumtide/hooks/ClaudeSettings.h"

#include "Plumtide/hooks/JsonTree.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

using Kind = JsonTree::Kind;
using Node = JsonTree::Node;

constexpr std::array<const char *, 6> eventNames = {
    "SessionStart", "UserPromptSubmit", "PermissionRequest", "PostToolUse", "Stop", "SessionEnd",
};
constexpr char scriptName[] = "tavvel-hook.sh";

bool isArrayOfObjects(const JsonTree &tree, Node node)
{
    if (node == JsonTree::none || tree.kind(node) != Kind::Array)
        return false;
    for (Node child = tree.firstChild(node); child != JsonTree::none; child = tree.next(child)) {
        if (tree.kind(child) != Kind::Object)
            return false;
    }
    return true;
}

bool namesScript(const JsonTree &tree, Node entry)
{
    const Node hooks = tree.member(entry, "hooks");
    if (!isArrayOfObjects(tree, hooks))
        return false;
    for (Node hook = tree.firstChild(hooks); hook != JsonTree::none; hook = tree.next(hook)) {
        const Node command = tree.member(hook, "command");
        if (command != JsonTree::none && tree.kind(command) == Kind::String && tree.text(command).contains(scriptName))
            return true;
    }
    return false;
}

void registerFor(JsonTree &tree, Node hooks, QByteArrayView eventName, const QByteArray &command)
{
    Node entries = tree.member(hooks, eventName);
    if (entries == JsonTree::none)
        entries = tree.append(hooks, eventName, Kind::Array);
    if (!isArrayOfObjects(tree, entries))
        return;
    for (Node entry = tree.firstChild(entries); entry != JsonTree::none; entry = tree.next(entry)) {
        if (namesScript(tree, entry))
            return;
    }
    const Node list = tree.append(tree.append(entries, Kind::Object), "hooks", Kind::Array);
    const Node hook = tree.append(list, Kind::Object);
    tree.append(hook, "command", Kind::String, command);
    tree.append(hook, "type", Kind::String, "command");
}

Failure named(const Failure &failure)
{
    return {u"settings.json "_s + failure.sentence + u"，这次没有改动。"_s};
}

} // namespace

namespace ClaudeSettings {

Result edit(const QByteArray &settings, const QString &hookCommand)
{
    Outcome<JsonTree> parsed = JsonTree::parse(settings.isEmpty() ? QByteArray("{}") : settings);
    if (!parsed)
        return named(parsed.failure());
    JsonTree tree = std::move(parsed).value();
    if (tree.kind(JsonTree::root) == Kind::Array)
        return Refusal::NotAnObject;
    if (tree.kind(JsonTree::root) != Kind::Object)
        return named({u"的最外层既不是对象也不是数组"_s});

    Node hooks = tree.member(JsonTree::root, "hooks");
    if (hooks == JsonTree::none)
        hooks = tree.append(JsonTree::root, "hooks", Kind::Object);
    if (tree.kind(hooks) != Kind::Object)
        return Refusal::HooksNotAnObject;
    for (const char *eventName : eventNames)
        registerFor(tree, hooks, eventName, hookCommand.toUtf8());

    Outcome<QByteArray> written = tree.write();
    if (!written)
        return named(written.failure());
    return std::move(written).value();
}

QString shellCommand(const QString &path)
{
    const auto isPlain = [](QChar c) {
        return c.unicode() >= 0x80 || (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9')
            || QStringView(u"/._-+,:@%=").contains(c);
    };
    if (std::all_of(path.begin(), path.end(), isPlain))
        return path;
    return u'\'' + QString(path).replace(u'\'', u"'\\''"_s) + u'\'';
}

} // namespace ClaudeSettings
