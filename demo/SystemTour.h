#pragma once

// The machine as the library sees it: monitors, memory, processors, versions,
// processes and the single-instance guard; with a display also a message box
// and a grab of the screen saved as kvdemo-screen.png.
void systemTour();
