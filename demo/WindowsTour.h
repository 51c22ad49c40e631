#pragma once

// A root window drawn by the 2D renderer, with a video window inside that
// plays a test pattern made by a shader effect and a running timecode in the
// numeric font; cursors change over the panels, and Control+Q or the close
// button quits. After seconds, when above 0, it quits by itself. False when
// there is no display to open it on.
bool windowsTour(int seconds);
