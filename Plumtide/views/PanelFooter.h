#pragma once

#include "Plumtide/views/DrawnView.h"

class DrawnButton;
class Switch;

/// The bottom of the panel: the version, the switch of the mini board, and the button that ends the program.
class PanelFooter final : public DrawnView
{
    Q_OBJECT

public:
    explicit PanelFooter(QWidget *parent);

    void setMiniBoardOn(bool isOn);
    int layOut(int width) override;

Q_SIGNALS:
    void miniBoardSwitched(bool isOn); ///< By the user.
    void quitRequested();

protected:
    void compose(Drawing &drawing) override;

private:
    Switch *m_switch;
    DrawnButton *m_quit;
};
