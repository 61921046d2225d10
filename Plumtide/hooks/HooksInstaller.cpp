#include "Plumtide/hooks/HooksInstaller.h"

#include "Plumtide/hooks/ClaudeSettings.h"
#include "Plumtide/hooks/CodexConfig.h"
#include "Plumtide/hooks/HookFiles.h"
#include "Plumtide/system/Files.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;
using HookFiles::Content;

namespace {

const QString noCodexConfig = u"没找到 Codex 配置文件：~/.codex/config.toml"_s;

bool mentions(const QString &path, QByteArrayView marker)
{
    const Outcome<Content> content = HookFiles::read(path);
    return content && content.value() && content.value()->isValidUtf8() && content.value()->contains(marker);
}

QString describe(ClaudeSettings::Refusal refusal)
{
    switch (refusal) {
    case ClaudeSettings::Refusal::NotAnObject:
        return u"你的 settings.json 不是常规格式，为避免弄坏它，这次没有改动。"_s;
    case ClaudeSettings::Refusal::HooksNotAnObject:
        return u"你的 settings.json 里 hooks 格式不常规，为安全起见没有改动。"_s;
    }
    Q_UNREACHABLE();
}

} // namespace

HooksInstaller::HooksInstaller(const Environment &environment, QObject *parent)
    : QObject(parent),
      m_home(environment.home),
      m_claudeSettings(m_home + HookFiles::claudeSettings),
      m_codexConfig(m_home + HookFiles::codexConfig),
      m_resourcesDir(environment.resourcesDir)
{
    refresh();
    if (!m_claudeInstalled && !m_codexInstalled)
        return;
    // A newer program brings newer scripts; the older ones go on working.
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
    const auto sourceOf = [this](const QString &script) {
        return m_resourcesDir + u"/hooks/"_s + QFileInfo(script).fileName();
    };
    if (m_resourcesDir.isEmpty() || !QFileInfo::exists(sourceOf(HookFiles::claudeScript)))
        return Failure{u"app 包里没有 hooks 资源（开发构建请用仓库里的 scripts/install-hooks.py）"_s};
    if (Outcome<void> made = Files::makeDirectory(m_home + HookFiles::hooksDir); !made)
        return made;

    for (const QString &name : {HookFiles::claudeScript, HookFiles::codexScript}) {
        const QString source = sourceOf(name);
        if (!QFileInfo::exists(source))
            continue;
        const Outcome<QByteArray> script = Files::read(source, maxScriptBytes);
        if (!script)
            return script.failure();
        // In one step: an agent may be running the old one at this moment, or start it at the next.
        if (Outcome<void> replaced = HookFiles::replaceOwn(m_home + name, script.value(), 0755); !replaced)
            return replaced;
    }
    return {};
}

void HooksInstaller::installClaude()
{
    if (const Outcome<void> deployed = deployScripts(); !deployed)
        return reportFailure(deployed.failure());
    const QString command = ClaudeSettings::shellCommand(m_home + HookFiles::claudeScript);

    std::optional<ClaudeSettings::Refusal> refusal;
    const auto addHooks = [&](const Content &settings) -> Outcome<Content> {
        refusal.reset();
        if (!settings) {
            if (Outcome<void> made = Files::makeDirectory(QFileInfo(m_claudeSettings).path()); !made)
                return made.failure();
        }
        const ClaudeSettings::Result result = ClaudeSettings::edit(settings.value_or(QByteArray()), command);
        if (const auto *failure = std::get_if<Failure>(&result))
            return *failure;
        if (const auto *refused = std::get_if<ClaudeSettings::Refusal>(&result))
            refusal = *refused;
        // What has none of our entries is kept for the removal.
        const bool isOriginal =
            settings && !refusal && std::get<QByteArray>(ClaudeSettings::remove(*settings)) == *settings;
        const QString original = isOriginal ? m_home + HookFiles::claudeOriginal : QString();
        if (settings && refusal != ClaudeSettings::Refusal::NotAnObject) {
            if (Outcome<void> kept = HookFiles::backUp(m_claudeSettings, *settings, original); !kept)
                return kept.failure();
        }
        return refusal ? Content() : Content(std::get<QByteArray>(result));
    };
    if (const Outcome<void> changed = HookFiles::change(m_claudeSettings, addHooks); !changed)
        return reportFailure(changed.failure());
    if (refusal)
        return setMessage(describe(*refusal));
    setMessage(u"Claude Code 接好了。重新打开一个会话，再发一条消息就能看到。"_s);
    refresh();
}

void HooksInstaller::installCodex()
{
    if (const Outcome<Content> config = HookFiles::read(m_codexConfig); config && !config.value())
        return setMessage(noCodexConfig);
    if (const Outcome<void> deployed = deployScripts(); !deployed)
        return reportFailure(deployed.failure());

    std::optional<QString> outcome; // stays absent when there was nothing to do
    bool isRegistered = false;
    const auto setNotify = [&](const Content &config) -> Outcome<Content> {
        outcome.reset();
        isRegistered = false;
        if (!config) {
            outcome = noCodexConfig;
            return Content();
        }
        const CodexConfig::Result result = CodexConfig::edit(*config, m_home + HookFiles::codexScript);
        if (const auto *failure = std::get_if<Failure>(&result))
            return *failure;
        if (const auto *unchanged = std::get_if<CodexConfig::Unchanged>(&result)) {
            isRegistered = *unchanged == CodexConfig::Unchanged::AlreadyInstalled;
            if (!isRegistered)
                outcome = u"Codex 已有通知配置，暂时没改。可以看看 README 里的说明。"_s;
            return Content();
        }
        const auto &edit = std::get<CodexConfig::Edit>(result);
        if (Outcome<void> kept = HookFiles::backUp(m_codexConfig, *config, m_home + HookFiles::codexOriginal); !kept)
            return kept.failure();
        if (edit.previousCommand.isEmpty()) {
            outcome = u"Codex 接好了，重启 Codex 后就生效。"_s;
        } else {
            // Before the configuration: once that names our script, the previous command must not be lost.
            const QByteArray command = edit.previousCommand.join(u'\n').toUtf8() + '\n';
            const QString path = m_home + HookFiles::codexForward;
            if (Outcome<void> written = HookFiles::replaceOwn(path, command, 0600); !written)
                return written.failure();
            outcome = u"Codex 接好了，原来的通知也会保留。重启 Codex 后就生效。"_s;
        }
        isRegistered = true;
        return Content(edit.content);
    };
    if (const Outcome<void> changed = HookFiles::change(m_codexConfig, setNotify); !changed)
        return reportFailure(changed.failure());
    if (outcome)
        setMessage(outcome);
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
