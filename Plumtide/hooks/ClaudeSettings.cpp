#include "Plumtide/hooks/ClaudeSettings.h"

#include <QRegularExpression>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <set>
#include <string_view>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Json = nlohmann::json; // its objects are sorted by the bytes of their UTF-8 keys

constexpr char scriptName[] = "tavvel-hook.sh";
constexpr const char *eventNames[] = {
    "SessionStart", "UserPromptSubmit", "PermissionRequest", "PostToolUse", "Stop", "SessionEnd",
};

// The digits of a number without zeros at either end, and the power of ten behind them: the same for equal numbers. The
// decimal point may be another character, that of the user's locale.
std::pair<QString, qint64> decimalValue(const std::string &number)
{
    static const QRegularExpression form(uR"(^-?0*(\d*)(?:[^\de]+(\d+))?(?:e(.*))?$)"_s,
                                         QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = form.match(QString::fromStdString(number));
    constexpr qint64 largest = 1'000'000'000; // more than the power of any double
    qint64 power = qBound(-largest, match.captured(3).toLongLong(), largest) - match.capturedLength(2);
    QString digits = match.captured(1) + match.captured(2);
    for (; digits.endsWith(u'0'); ++power)
        digits.chop(1);
    while (digits.startsWith(u'0'))
        digits.remove(0, 1);
    return {digits, digits.isEmpty() ? 0 : power};
}

// Rejects what nlohmann's document cannot hold, or only with loss or with too much of the stack.
class LosslessCheck final : public Json::json_sax_t
{
public:
    explicit LosslessCheck(const QByteArray &text) : m_text(text) {}

    [[nodiscard]] const QString &reason() const { return m_reason; } ///< Of the rejection.

    bool null() override { return value(); }
    bool boolean(bool) override { return value(); }
    bool number_integer(Json::number_integer_t) override { return value(); }
    bool number_unsigned(Json::number_unsigned_t) override { return value(); }
    bool number_float(Json::number_float_t number, const std::string &text) override
    {
        return decimalValue(text) == decimalValue(Json(number).dump())
            ? value()
            : reject(u"里有没法原样写回的数字：%1"_s.arg(QString::fromStdString(text).left(40)));
    }
    bool string(std::string &) override { return value(); }
    bool binary(Json::binary_t &) override { return true; } // not in a text
    bool key(std::string &name) override
    {
        return m_keys.back().insert(name).second
            || reject(u"里有重复的键：%1"_s.arg(QString::fromStdString(name).left(40)));
    }
    bool start_object(std::size_t) override
    {
        constexpr size_t deepest = 500; // printing recurses: 100 bytes of the stack a level, 3 kB with sanitizers
        m_keys.emplace_back();
        return value() && (m_keys.size() <= deepest || reject(u"嵌套得太深"_s));
    }
    bool start_array(std::size_t size) override { return start_object(size); }
    bool end_object() override
    {
        m_keys.pop_back();
        return true;
    }
    bool end_array() override { return end_object(); }
    bool parse_error(std::size_t position, const std::string &, const Json::exception &error) override
    {
        constexpr int numberOutOfRange = 406;
        // `position` counts the bytes up to the wrong one, and one more at the end of the text.
        const auto line =
            1 + m_text.first(qBound<qsizetype>(0, static_cast<qsizetype>(position) - 1, m_text.size())).count('\n');
        return reject((error.id == numberOutOfRange ? u"第 %1 行有一个过大的数字"_s : u"第 %1 行附近不是有效的 JSON"_s)
                          .arg(line));
    }

private:
    bool value()
    {
        m_indentation += 2 * m_keys.size();
        return m_indentation <= 8 * 1024 * 1024 || reject(u"嵌套得太深"_s);
    }
    bool reject(const QString &reason)
    {
        m_reason = reason;
        return false;
    }

    const QByteArray &m_text;
    QString m_reason;
    size_t m_indentation = 0;                  // bytes before all values when they are printed
    std::vector<std::set<std::string>> m_keys; // of each open object; none for an array
};

bool isArrayOfObjects(const Json &value)
{
    return value.is_array() && std::all_of(value.begin(), value.end(), [](const Json &v) { return v.is_object(); });
}

// Empty where the hook has none.
std::string_view commandOf(const Json &hook)
{
    const auto command = hook.find("command");
    return command != hook.end() && command->is_string() ? command->get_ref<const std::string &>() : std::string_view();
}

bool namesScript(const Json &entry)
{
    const auto hooks = entry.find("hooks");
    return hooks != entry.end() && isArrayOfObjects(*hooks)
        && std::any_of(hooks->begin(), hooks->end(),
                       [](const Json &hook) { return commandOf(hook).find(scriptName) != std::string_view::npos; });
}

// True for our path, also in quotes.
bool runsScript(const Json &hook)
{
    std::string_view command = commandOf(hook);
    if (command.ends_with('\'') || command.ends_with('"'))
        command.remove_suffix(1);
    return command.ends_with("/.tavvel/hooks/tavvel-hook.sh");
}

// Also removes what is empty then. False where no entry runs the script.
bool removeScript(Json &hooks)
{
    bool isChanged = false;
    const auto isLeftEmpty = [&](Json &entry) {
        const auto list = entry.find("hooks");
        if (list == entry.end() || !isArrayOfObjects(*list)
            || std::erase_if(list->get_ref<Json::array_t &>(), runsScript) == 0)
            return false;
        isChanged = true;
        return list->empty();
    };
    for (auto entries = hooks.begin(); entries != hooks.end();) {
        const bool isOfObjects = isArrayOfObjects(*entries) && !entries->empty();
        if (isOfObjects)
            entries->erase(std::remove_if(entries->begin(), entries->end(), isLeftEmpty), entries->end());
        entries = isOfObjects && entries->empty() ? hooks.erase(entries) : std::next(entries);
    }
    return isChanged;
}

Failure unchanged(const QString &reason)
{
    return {u"settings.json "_s + reason + u"，这次没有改动。"_s};
}

// `root` becomes the outermost object or array.
Outcome<void> parse(const QByteArray &settings, Json &root)
{
    const QByteArray text = settings.isEmpty() ? QByteArray("{}") : settings;
    // The parser takes a NUL for the end of the text.
    if (const qsizetype end = text.indexOf('\0'); end >= 0)
        return unchanged(u"第 %1 行附近不是有效的 JSON"_s.arg(1 + text.first(end).count('\n')));
    LosslessCheck check(text);
    if (!Json::sax_parse(text.begin(), text.end(), &check))
        return unchanged(check.reason());
    root = Json::parse(text.begin(), text.end());
    if (!root.is_structured())
        return unchanged(u"的最外层既不是对象也不是数组"_s);
    return {};
}

} // namespace

namespace ClaudeSettings {

Result edit(const QByteArray &settings, const QString &hookCommand)
{
    Json root;
    if (const Outcome<void> parsed = parse(settings, root); !parsed)
        return parsed.failure();
    if (root.is_array())
        return Refusal::NotAnObject;
    Json &hooks = *root.emplace("hooks", Json::object()).first;
    if (!hooks.is_object())
        return Refusal::HooksNotAnObject;
    for (const char *name : eventNames) {
        Json &entries = *hooks.emplace(name, Json::array()).first;
        if (isArrayOfObjects(entries) && std::none_of(entries.begin(), entries.end(), namesScript)) {
            const Json hook{{"type", "command"}, {"command", hookCommand.toStdString()}};
            entries.push_back({{"hooks", Json::array({hook})}});
        }
    }
    return QByteArray::fromStdString(root.dump(2)) + '\n';
}

Outcome<QByteArray> remove(const QByteArray &settings)
{
    if (!settings.contains(scriptName))
        return settings;
    Json root;
    if (const Outcome<void> parsed = parse(settings, root); !parsed)
        return parsed.failure();
    if (root.is_array())
        return Failure{u"settings.json 不是常规格式，没有改动。"_s};
    const auto hooks = root.find("hooks");
    if (hooks == root.end() || !hooks->is_object() || !removeScript(*hooks))
        return settings;
    if (hooks->empty())
        root.erase(hooks);
    return QByteArray::fromStdString(root.dump(2)) + '\n';
}

QString shellCommand(const QString &path)
{
    static const QRegularExpression special(uR"([^\w\x{80}-\x{10FFFF}/.+,:@%=-])"_s);
    return path.contains(special) ? u'\'' + QString(path).replace(u'\'', u"'\\''"_s) + u'\'' : path;
}

} // namespace ClaudeSettings
