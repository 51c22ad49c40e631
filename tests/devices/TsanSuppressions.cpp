// JACK hands MIDI from thread to thread in ways ThreadSanitizer cannot follow,
// because libjack is not instrumented: RtMidi's sending side passes bytes to
// JACK's process thread through libjack's lock-free ring buffer (plain stores
// ordered by memory barriers), and the port buffers pass from one client's
// process thread to the next through JACK's shared memory, ordered by futexes
// in that memory. The copies inside those libjack calls are reported; nothing
// of the library's is. GLib's locks and queues, under the hardware manager's
// thread, are futexes of its own that ThreadSanitizer cannot see either.
#if defined(__SANITIZE_THREAD__)
// Exported: ThreadSanitizer looks it up in the program at start.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions()
{
    return "race:jack_ringbuffer_peek\n"
           "race:jack_ringbuffer_read\n"
           "race:jack_midi_event_write\n"
           "called_from_lib:libglib-2.0.so.0\n"
           "called_from_lib:libgobject-2.0.so.0\n"
           "called_from_lib:libgio-2.0.so.0\n";
}
#endif
