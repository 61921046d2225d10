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
    connect(this, &QAbstractButton::clicked, this, &CopyButton::copy);
}

void CopyButton::setCopiedText(const QString &text)
{
    if (std::exchange(m_text, text) != text && this->text() != copyLabel)
        setCopied(false);
}

void CopyButton::copy()
{
    QGuiApplication::clipboard()->setText(m_text);
    setCopied(true);
    QTimer::singleShot(copiedTime, this, [this] { setCopied(false); });
}

void CopyButton::setCopied(bool isCopied)
{
    setText(isCopied ? copiedLabel : copyLabel);
    Q_EMIT sizeChanged();
}
