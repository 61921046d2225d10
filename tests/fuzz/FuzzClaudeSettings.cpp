// Any bytes as settings.json: what is edited must keep all that was there.

#include "Plumtide/hooks/ClaudeSettings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdlib>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// The numbers of a JSON text, by their digits.
std::vector<QByteArray> numbersOf(const QByteArray &json)
{
    std::vector<QByteArray> numbers;
    bool isInString = false;
    bool isInNumber = false;
    for (qsizetype i = 0; i < json.size(); ++i) {
        const char c = json[i];
        const bool wasInNumber = std::exchange(isInNumber, false);
        if (isInString) {
            i += c == '\\';
            isInString = c != '"';
        } else if (c == '"') {
            isInString = true;
        } else if (QByteArrayView(wasInNumber ? "0123456789-+.eE" : "0123456789-").contains(c)) {
            isInNumber = true;
            if (!wasInNumber)
                numbers.emplace_back();
            numbers.back() += c;
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool isArrayOfObjects(const QJsonValue &value)
{
    const QJsonArray array = value.toArray();
    return value.isArray() && std::all_of(array.begin(), array.end(), [](const auto &v) { return v.isObject(); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray before(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QString command = u"/home/user/.tavvel/hooks/tavvel-hook.sh"_s;
    const ClaudeSettings::Result result = ClaudeSettings::edit(before, command);
    if (const auto *failure = std::get_if<Failure>(&result))
        require(failure->sentence.startsWith(u"settings.json "_s));
    if (!std::holds_alternative<QByteArray>(result))
        return 0;

    const QByteArray after = std::get<QByteArray>(result);
    const ClaudeSettings::Result again = ClaudeSettings::edit(after, command);
    require(std::holds_alternative<QByteArray>(again) && std::get<QByteArray>(again) == after);
    require(numbersOf(before) == numbersOf(after));

    QJsonParseError error;
    QJsonObject beforeRoot = QJsonDocument::fromJson(before, &error).object();
    if (error.error != QJsonParseError::NoError && !before.isEmpty())
        return 0; // Qt's reader stops at 1,024 levels
    if (after.contains("\xEF\xBB\xBF"))
        return 0; // and drops such a mark at the start of a text, unless there is an escape behind it
    QJsonObject afterRoot = QJsonDocument::fromJson(after, &error).object();
    require(error.error == QJsonParseError::NoError);

    const QJsonObject hook{{u"type"_s, u"command"_s}, {u"command"_s, command}};
    const QJsonObject ours{{u"hooks"_s, QJsonArray{hook}}};
    QJsonObject beforeHooks = beforeRoot.take(u"hooks"_s).toObject();
    QJsonObject afterHooks = afterRoot.take(u"hooks"_s).toObject();
    for (const QString &event : {u"SessionStart"_s, u"UserPromptSubmit"_s, u"PermissionRequest"_s, u"PostToolUse"_s,
                                 u"Stop"_s, u"SessionEnd"_s}) {
        const QJsonValue old = beforeHooks.contains(event) ? beforeHooks.value(event) : QJsonArray();
        const QJsonValue now = afterHooks.value(event);
        if (old != now) {
            QJsonArray list = old.toArray();
            list.append(ours);
            require(isArrayOfObjects(old) && now == list);
        } else if (isArrayOfObjects(old)) {
            require(QJsonDocument(old.toArray()).toJson().contains("tavvel-hook.sh"));
        }
        beforeHooks.remove(event);
        afterHooks.remove(event);
    }
    require(beforeHooks == afterHooks && beforeRoot == afterRoot);
    return 0;
}
