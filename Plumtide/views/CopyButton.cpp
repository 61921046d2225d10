#include "Plumtide/views/CopyButton.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QTimer>

#include <chrono>
#include <utility>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString copyLabel = u"复制名称"_s;
const QString copiedLabel = u"已复制"_s;
constexpr auto copiedTime = 1200ms;

} // namespace

CopyButton::CopyButton(const QString &icon, const Look &look, QWidget *parent)
    : DrawnButton(copyLabel, icon, look, parent)
{
    setLeastWidth(exactSize().width());
}

void CopyButton::setCopiedText(const QString &text)
{
    if (std::exchange(m_text, text) != text)
        setText(copyLabel);
}

void CopyButton::copy(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
    if (text != m_text)
        return;
    setText(copiedLabel);
    QTimer::singleShot(copiedTime, this, [this] { setText(copyLabel); });
}
