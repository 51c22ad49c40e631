#pragma once

// Serial ports and MIDI devices as the library finds them; where the MIDI
// system has a device in each direction (ALSA's "Midi Through" is one), a note
// and a SysEx go out on the first and are looked for on the first input.
void devicesTour();
