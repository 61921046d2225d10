#include "Plumtide/hooks/Silence.h"

#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/HookFiles.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {

QByteArray contentOf(const QString &path)
{
    const Outcome<HookFiles::Content> content = HookFiles::read(path);
    return content ? content.value().value_or(QByteArray()) : QByteArray();
}

// Whether a hook runs a script of ours by a path that is not `script`, the one of this home.
bool namesAnotherScript(const QJsonObject &hooks, const QString &script)
{
    for (const QJsonValue entries : hooks) {
        for (const QJsonValue entry : entries.toArray()) {
            for (const QJsonValue hook : entry["hooks"_L1].toArray()) {
                const QString command = hook["command"_L1].toString();
                if (command.contains("tavvel-hook.sh"_L1) && command != ClaudeSettings::shellCommand(script)
                    && !command.contains(script) && !command.contains("~/"_L1) && !command.contains("HOME"_L1))
                    return true;
            }
        }
    }
    return false;
}

} // namespace

QStringList reasonsForSilence(const QString &home, const QString &managed)
{
    QStringList reasons;
    const QString hooks = home + u"/.tavvel/hooks/"_s;
    for (const auto &[variable, usual, file] : {std::tuple("CLAUDE_CONFIG_DIR", u"/.claude"_s, u"settings.json"_s),
                                                {"CODEX_HOME", u"/.codex"_s, u"config.toml"_s}}) {
        const QString set = qEnvironmentVariable(variable);
        if (!set.isEmpty() && QDir(set) != QDir(home + usual))
            reasons +=
                u"环境变量 %1 让它读 %2/%3，而不是 ~%4/%3：请去掉这个变量，或者把 Plumtide 写的内容抄过去。"_s.arg(
                    QString::fromLatin1(variable), set, file, usual);
    }

    const QString settings = home + u"/.claude/settings.json"_s;
    QStringList files{settings, managed + u"/managed-settings.json"_s};
    const QDir further(managed + u"/managed-settings.d"_s);
    for (const QString &name : further.entryList({u"*.json"_s}, QDir::Files))
        files += further.filePath(name);
    for (const QString &file : std::as_const(files)) {
        const QJsonDocument document = QJsonDocument::fromJson(contentOf(file));
        if (document["disableAllHooks"_L1].toBool())
            reasons += u"%1 里的 disableAllHooks 关掉了 Claude Code 的所有 hooks：请把它去掉。"_s.arg(file);
        if (file != settings && document["allowManagedHooksOnly"_L1].toBool())
            reasons +=
                u"%1 里的 allowManagedHooksOnly 只允许管理员的 hooks：请管理员去掉它，或者加上 Plumtide 的。"_s.arg(
                    file);
        if (file == settings && namesAnotherScript(document["hooks"_L1].toObject(), hooks + u"tavvel-hook.sh"_s))
            reasons += u"%1 里的 tavvel-hook.sh 在另一个主目录里：请删掉这些条目，再接入一次。"_s.arg(file);
    }

    const QDir codex(home + u"/.codex"_s);
    const QByteArray script = (hooks + u"codex-notify.sh"_s).toUtf8();
    if (const QByteArray config = contentOf(codex.filePath(u"config.toml"_s));
        config.contains("codex-notify.sh") && !config.contains(script))
        reasons += u"%1 里的 codex-notify.sh 在另一个主目录里：请删掉 notify 这一行，再接入一次。"_s.arg(
            codex.filePath(u"config.toml"_s));
    static const QRegularExpression notify(uR"(\A(?:(?!\s*\[).*\n)*?\s*["']?notify["']?\s*=)"_s);
    for (const QString &name : codex.entryList({u"*.config.toml"_s}, QDir::Files)) {
        const QByteArray profile = contentOf(codex.filePath(name));
        if (!profile.contains(script) && notify.match(QString::fromUtf8(profile)).hasMatch())
            reasons += u"%1 有自己的 notify，codex -p %2 只运行它：请把它改成 [\"%3\"]。"_s.arg(
                codex.filePath(name), name.chopped(12), QString::fromUtf8(script));
    }
    return reasons;
}
