#pragma once

#include "Plumtide/views/DrawnView.h"

#include <QTimer>

class DrawnButton;
class HooksInstaller;

/// Offers to connect the tools whose hooks are missing, and shows what came of it. With both connected only the
/// message is left, for a few seconds.
class OnboardingBanner final : public DrawnView
{
    Q_OBJECT

public:
    /// `installer` must outlive the view.
    OnboardingBanner(HooksInstaller &installer, QWidget *parent);

    void refresh();                 ///< Reads the installer.
    int layOut(int width) override; ///< 0 when there is nothing to show.

protected:
    void compose(Drawing &drawing) override;

private:
    struct Row
    {
        const char *titleName;
        QString title;
        DrawnButton *button;
        bool isNeeded = false;
    };

    [[nodiscard]] bool isCard() const;
    double draw(Drawing &drawing, double width);
    double drawRow(Drawing &drawing, const Row &row, double y, double width);

    HooksInstaller &m_installer;
    QList<Row> m_rows;
    std::optional<QString> m_message;
    bool m_showsMessageOnly = false;
};
