#pragma once

#include "Ptr.h"
#include "iComPort.h"
#include "iThread.h"
#include "iThreadEvent.h"

#include <atomic>

// A serial line on a terminal device, held exclusively (TIOCEXCL). setConfig
// puts the line in raw mode with blocking reads and starts the reader thread,
// "ComPort", which calls the receiver; sendData and sendCommand come from the
// application's threads and share only the descriptor with it. The destructor
// and setConfig end the reader and wait for it, so neither may run on the
// reader thread, which means inside the receiver.
class ComPort : public iComPort
{
public:
    // Null without a receiver, when the path cannot be opened, or when the
    // device is no terminal or is held by someone else.
    static Kv::Ptr<iComPort> open(const char* path, Kv::Ptr<iComPortReceiver> receiver);
    ~ComPort() override;

    bool sendData(void* data, unsigned int size) override;
    bool sendCommand(eCommand command) override;
    int purge() override;
    bool setConfig(const Config& config) override;

private:
    ComPort(int fd, Kv::Ptr<iComPortReceiver> receiver);

    static void threadFn(void* self);
    void readUntilStopped();
    void unblockReader();
    void stopReader();

    Kv::Ptr<iComPortReceiver> receiver;
    Kv::Ptr<iThreadEvent> finished; // auto-reset: set once by each reader as it ends
    Kv::Ptr<iThread> thread;
    int fd;
    std::atomic<bool> running; // the reader's go-on, from the application's thread
};
