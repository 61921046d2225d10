#pragma once

#include "Plumtide/views/DrawnButton.h"

/// "复制名称": puts a text on the clipboard, and says "已复制" for a moment.
class CopyButton final : public DrawnButton
{
    Q_OBJECT

public:
    CopyButton(const QString &icon, const Look &look, QWidget *parent);

    void setCopiedText(const QString &text); ///< Another text has not been copied yet.

Q_SIGNALS:
    void sizeChanged(); ///< Its label has another width.

private:
    void copy();
    void setCopied(bool isCopied);

    QString m_text;
};
