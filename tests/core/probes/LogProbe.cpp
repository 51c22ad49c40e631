// Logs one line of each width; built under a name that starts with "reelTale",
// which asks for the full date in log lines.
#include "OS.h"

int main()
{
    OS()->utils()->log("probe line\n", nullptr);
    return 0;
}
