#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/hooks/HooksInstaller.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonValue>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

QStringList HooksInstaller::problems(const QString &home, const QString &managed)
{
    QStringList problems;
    const QString settings = home + HookFiles::claudeSettings, config = home + HookFiles::codexConfig;
    for (const auto &[variable, file, script] : {std::tuple("CLAUDE_CONFIG_DIR", settings, HookFiles::claudeScript),
                                                 {"CODEX_HOME", config, HookFiles::codexScript}}) {
        const QString set = qEnvironmentVariable(variable);
        const QFileInfo usual(file);
        if (!set.isEmpty() && QDir(set) != usual.dir())
            problems += u"%1 让设置从 %2 读取，而不是 %3：请去掉这个变量，或者把 Plumtide 写的内容抄过去。"_s.arg(
                QString::fromLatin1(variable), set, usual.path());
        // "~/.tavvel/hooks/tavvel-hook.sh" is ours, too. A quote in the home's path begins another word.
        const QRegularExpression path(uR"(/[^"'\\\s]*/)"_s + QFileInfo(script).fileName());
        for (const QRegularExpressionMatch &match : path.globalMatch(QString::fromUtf8(HookFiles::contentOf(file)))) {
            if ((home + script).endsWith(match.captured()))
                continue;
            problems += u"%1 里的 %2 不在这个主目录里：请删掉这样的条目，再接入一次。"_s.arg(file, match.captured());
            break;
        }
    }

    QStringList files{settings, managed + u"/managed-settings.json"_s};
    const QDir fragments(managed + u"/managed-settings.d"_s);
    for (const QString &name : fragments.entryList({u"*.json"_s}, QDir::Files))
        files += fragments.filePath(name);
    for (const QString &file : std::as_const(files)) {
        const QJsonDocument document = QJsonDocument::fromJson(QString::fromUtf8(HookFiles::contentOf(file)).toUtf8());
        if (document["disableAllHooks"_L1].toBool())
            problems += u"%1 里的 disableAllHooks 关掉了 Claude Code 的所有 hooks：请把它去掉。"_s.arg(file);
        static const QString managedOnly =
            u"%1 里的 allowManagedHooksOnly 只允许管理员的 hooks：请管理员去掉它，或者加上 Plumtide 的。"_s;
        if (file != settings && document["allowManagedHooksOnly"_L1].toBool())
            problems += managedOnly.arg(file);
    }

    static const QRegularExpression notify(uR"(\A(?:(?!\s*\[).*\n)*?\s*["']?notify["']?\s*=)"_s); // before any table
    const QString script = home + HookFiles::codexScript;
    const QDir codex = QFileInfo(config).dir();
    for (const QString &name : codex.entryList({u"*.config.toml"_s}, QDir::Files)) {
        const QString profile = QString::fromUtf8(HookFiles::contentOf(codex.filePath(name)));
        if (profile.contains(notify) && !profile.contains(script))
            problems += u"%1 有自己的 notify，codex -p %2 只运行它：请把它改成 [\"%3\"]。"_s.arg(
                codex.filePath(name), name.chopped(12), script);
    }
    return problems;
}
