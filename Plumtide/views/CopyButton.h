#pragma once

#include "Plumtide/views/DrawnButton.h"

/// "复制名称": says "已复制" for a moment after its text was put on the clipboard. As wide as with its longer label.
class CopyButton final : public DrawnButton
{
    Q_OBJECT

public:
    CopyButton(const QString &icon, const Look &look, QWidget *parent);

    void copy(const QString &text);
    void setCopiedText(const QString &text); ///< Another text has not been copied yet.

private:
    QString m_text;
};
