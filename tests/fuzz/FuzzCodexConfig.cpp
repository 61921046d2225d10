// Any bytes as config.toml: an edit changes one line, and of a valid file only the one key.

#include "Plumtide/hooks/CodexConfig.h"
#include "Plumtide/hooks/TomlForm.h"

#include <toml++/toml.h>

#include <cstdlib>
#include <optional>
#include <sstream>

using namespace Qt::StringLiterals;

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

std::optional<toml::table> parse(const QByteArray &text)
{
    if (examineToml(text) == TomlForm::Invalid)
        return std::nullopt; // undefined behaviour in the reader
    try {
        return toml::parse(std::string_view(text.constData(), static_cast<size_t>(text.size())));
    } catch (const toml::parse_error &) {
        return std::nullopt;
    }
}

// All other keys and values as the reader's own printer shows them.
std::string withoutNotify(toml::table table)
{
    table.erase("notify");
    std::ostringstream out;
    out << toml::json_formatter{table};
    return out.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray before(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QString path = u"/h/codex-notify.sh"_s;
    const QByteArray line = R"(notify = ["/h/codex-notify.sh"])";
    const CodexConfig::Result result = CodexConfig::edit(before, path);
    if (const auto *failure = std::get_if<Failure>(&result))
        require(failure->sentence.startsWith(u"config.toml "_s));
    if (!std::holds_alternative<CodexConfig::Edit>(result))
        return 0;

    const auto &edit = std::get<CodexConfig::Edit>(result);
    const QByteArray &after = edit.content;
    const CodexConfig::Result again = CodexConfig::edit(after, path);
    require(std::holds_alternative<CodexConfig::Unchanged>(again)
            && std::get<CodexConfig::Unchanged>(again) == CodexConfig::Unchanged::AlreadyInstalled);

    // The line is in one place only, as the text before did not hold the script's name.
    const qsizetype at = after.indexOf(line);
    require(at >= 0);
    const QByteArray head = after.first(at);
    QByteArray tail = after.sliced(at + line.size());
    if (!edit.previousCommand.isEmpty()) {
        require(before.startsWith(head) && before.endsWith(tail));
        require(head.size() + tail.size() < before.size());
        const QByteArray replaced = before.sliced(head.size(), before.size() - head.size() - tail.size());
        require(replaced.startsWith("notify") && !replaced.contains('\n'));
        require(tail.isEmpty() || tail.startsWith('\n') || tail.startsWith("\r\n"));
        for (const QString &element : edit.previousCommand)
            require(!element.contains(u'\n'));
    } else {
        require(tail.startsWith('\n'));
        tail = tail.sliced(1);
        require(before == head + tail || (tail.isEmpty() && head == before + '\n'));
        require(tail.isEmpty() || tail.startsWith('['));
    }

    if (const std::optional<toml::table> original = parse(before)) {
        const std::optional<toml::table> edited = parse(after);
        require(edited.has_value());
        const toml::array *notify = edited->get_as<toml::array>("notify");
        require(notify && notify->size() == 1 && notify->get(0)->value<std::string>() == path.toStdString());
        require(withoutNotify(*original) == withoutNotify(*edited));
    }
    return 0;
}
