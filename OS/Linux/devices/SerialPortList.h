#pragma once

#include <string>
#include <vector>

// The device paths of the machine's serial lines: the terminal devices that
// have a device behind them (a UART, a USB adapter), found through libudev,
// else through /sys/class/tty. Virtual terminals and pseudo-terminals have
// none and are left out; so is a device whose node is missing from /dev.
class SerialPortList
{
public:
    static std::vector<std::string> calloutDevices();

    // False when libudev cannot enumerate, with the enumeration's message.
    static bool throughUdev(std::vector<std::string>& paths);
    // Each entry of classFolder (as /sys/class/tty) with a "device" link.
    static std::vector<std::string> throughSysfs(const std::string& classFolder);
};
