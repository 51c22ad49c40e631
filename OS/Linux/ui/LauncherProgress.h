#pragma once

// The progress bar on the desktop's launcher entry of the application, over
// the session bus (com.canonical.Unity.LauncherEntry, which docks and panels
// of several desktops read). Where no session bus runs it does nothing.
class LauncherProgress
{
public:
    static LauncherProgress& instance();

    // Shown for values strictly between 0 and 1, hidden otherwise.
    void show(double value);

private:
    LauncherProgress() = default;
};
