#include "Plumtide/hooks/HooksInstaller.h"

#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/CodexConfig.h"
#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/system/Files.h"
#include "Plumtide/system/Log.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;
using HookFiles::Content;

namespace {

const QString noCodexConfig = u"没找到 Codex 配置文件：~/.codex/config.toml"_s;

bool mentions(const QString &path, QByteArrayView marker)
{
    const QByteArray content = HookFiles::contentOf(path);
    return content.isValidUtf8() && content.contains(marker);
}

} // namespace

HooksInstaller::HooksInstaller(const Environment &environment)
    : m_home(environment.home),
      m_claudeSettings(m_home + HookFiles::claudeSettings),
      m_codexConfig(m_home + HookFiles::codexConfig),
      m_resourcesDir(environment.resourcesDir)
{
    refresh();
    if (!m_claudeInstalled && !m_codexInstalled)
        return;
    // A newer program has newer scripts; the older ones still work.
    if (const Outcome<void> deployed = deployScripts(); !deployed)
        qCDebug(hooksLog) << "the scripts stay as they are:" << deployed.failure().sentence;
}

void HooksInstaller::refresh()
{
    Q_EMIT objectWillChange();
    m_claudeInstalled = mentions(m_claudeSettings, "tavvel-hook.sh");
    Q_EMIT objectWillChange();
    m_codexInstalled = mentions(m_codexConfig, "codex-notify");
    qCDebug(hooksLog) << "registered with Claude Code:" << m_claudeInstalled << "with Codex:" << m_codexInstalled;
}

Outcome<void> HooksInstaller::deployScripts()
{
    constexpr qint64 maxScriptBytes = 16 * 1024 * 1024;
    const QDir sources(m_resourcesDir + u"/hooks"_s);
    if (m_resourcesDir.isEmpty() || !sources.exists(u"tavvel-hook.sh"_s))
        return Failure{u"app 包里没有 hooks 资源（开发构建请用仓库里的 scripts/install-hooks.py）"_s};
    if (Outcome<void> made = Files::makeDirectory(m_home + HookFiles::hooksDir); !made)
        return made;
    for (const QString &name : {HookFiles::claudeScript, HookFiles::codexScript}) {
        const QString source = sources.filePath(QFileInfo(name).fileName());
        if (!QFileInfo::exists(source))
            continue;
        const Outcome<QByteArray> script = Files::read(source, maxScriptBytes);
        if (!script)
            return script.failure();
        if (Outcome<void> replaced = HookFiles::replaceOwn(m_home + name, script.value(), 0755); !replaced)
            return replaced;
    }
    return {};
}

void HooksInstaller::installClaude()
{
    if (const Outcome<void> deployed = deployScripts(); !deployed)
        return reportFailure(deployed.failure());
    if (const Outcome<void> made = Files::makeDirectory(QFileInfo(m_claudeSettings).path()); !made)
        return reportFailure(made.failure());
    std::optional<QString> refusal;
    const auto addHooks = [&](const Content &settings) -> Outcome<Content> {
        refusal.reset();
        const ClaudeSettings::Result result = ClaudeSettings::edit(
            settings.value_or(QByteArray()), ClaudeSettings::shellCommand(m_home + HookFiles::claudeScript));
        if (const auto *failure = std::get_if<Failure>(&result))
            return *failure;
        if (const auto *reason = std::get_if<ClaudeSettings::Refusal>(&result)) {
            const bool isObject = *reason == ClaudeSettings::Refusal::HooksNotAnObject;
            refusal = isObject ? u"你的 settings.json 里 hooks 格式不常规，为安全起见没有改动。"_s
                               : u"你的 settings.json 不是常规格式，为避免弄坏它，这次没有改动。"_s;
            return isObject ? settings : Content(); // only an object is backed up
        }
        if (settings && ClaudeSettings::remove(*settings).value() == *settings) { // none of our entries
            if (Outcome<void> kept = HookFiles::replaceOwn(m_home + HookFiles::claudeOriginal, *settings, 0600); !kept)
                return kept.failure();
        }
        return Content(std::get<QByteArray>(result));
    };
    if (const Outcome<void> changed = HookFiles::change(m_claudeSettings, addHooks); !changed)
        return reportFailure(changed.failure());
    if (refusal)
        return setMessage(refusal);
    setMessage(u"Claude Code 接好了。重新打开一个会话，再发一条消息就能看到。"_s);
    refresh();
}

void HooksInstaller::installCodex()
{
    if (const Outcome<Content> config = HookFiles::read(m_codexConfig); config && !config.value())
        return setMessage(noCodexConfig);
    if (const Outcome<void> deployed = deployScripts(); !deployed)
        return reportFailure(deployed.failure());

    std::optional<QString> message; // absent where there was nothing to do
    bool isRegistered = false;
    const auto setNotify = [&](const Content &config) -> Outcome<Content> {
        isRegistered = false;
        message = noCodexConfig;
        if (!config)
            return Content();
        const CodexConfig::Result result = CodexConfig::edit(*config, m_home + HookFiles::codexScript);
        if (const auto *failure = std::get_if<Failure>(&result))
            return *failure;
        if (const auto *unchanged = std::get_if<CodexConfig::Unchanged>(&result)) {
            isRegistered = *unchanged == CodexConfig::Unchanged::AlreadyInstalled;
            message = u"Codex 已有通知配置，暂时没改。可以看看 README 里的说明。"_s;
            if (isRegistered)
                message.reset();
            return Content();
        }
        const auto &edit = std::get<CodexConfig::Edit>(result);
        isRegistered = true;
        message = u"Codex 接好了，重启 Codex 后就生效。"_s;
        Outcome<void> kept = HookFiles::replaceOwn(m_home + HookFiles::codexOriginal, *config, 0600);
        if (kept && !edit.previousCommand.isEmpty()) {
            message = u"Codex 接好了，原来的通知也会保留。重启 Codex 后就生效。"_s;
            const QByteArray command = edit.previousCommand.join(u'\n').toUtf8() + '\n';
            kept = HookFiles::replaceOwn(m_home + HookFiles::codexForward, command, 0600);
        }
        return kept ? Outcome(Content(edit.content)) : kept.failure();
    };
    if (const Outcome<void> changed = HookFiles::change(m_codexConfig, setNotify); !changed)
        return reportFailure(changed.failure());
    if (message)
        setMessage(message);
    if (isRegistered)
        refresh();
}

void HooksInstaller::setMessage(const std::optional<QString> &message)
{
    qCDebug(hooksLog) << "message:" << message.value_or(QString());
    Q_EMIT objectWillChange();
    m_message = message;
}

void HooksInstaller::reportFailure(const Failure &failure)
{
    setMessage(u"接入失败："_s + failure.sentence);
    refresh();
}
