#pragma once

#include "iRootWindow.h"
#include "iStatusWindow.h"

// A borderless root window above the others that does not take the
// keyboard; its contents paint it whenever it needs it.
class StatusWindow : public iStatusWindow
{
public:
    // Shown at once; the window is null without a display.
    StatusWindow(Kv::Ptr<iStatusWindow::iContents> contents, const XY<int>& size, const XY<int>& position);

    bool isRealised() const { return window_ != nullptr; }
    void update() override;
    void setVisible(bool visible) override;

private:
    Kv::Ptr<iRootWindow> window_;
};
