#include "MMTimer.h"

#include "OS.h"

void MMTimer::wait(unsigned int milliseconds)
{
    OS()->threadMgr()->sleep(milliseconds);
}
