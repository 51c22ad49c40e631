#pragma once

#include "KvExport.h"
#include "LightweightString.h"

#include <glib.h>

// Host calls that the application's windowing layer makes directly. Host
// strings are UTF-8.
class KV_API QtUtils
{
public:
    enum ePresentationStyle
    {
        ePresentationOff = 0,
        ePresentationFullScreen = 1,
    };

    // Any style but off asks for the desktop's panels and docks to be hidden
    // behind the application's windows.
    static void setPresentationStyle(ePresentationStyle style);
    // 1 while the desktop's panels are hidden, else 0.
    static int getPresentationStyle();
    // The distribution's name and version and the kernel's release; out must
    // have room for 256 bytes.
    static void getOSVersion(char* out);
    // Serves the source on the calling thread's main context and gives up the
    // caller's reference to it.
    static void addEventTap(GSource* tap);
    // True when the file could NOT be deleted.
    static bool deleteFile(const LightweightString<char>& path);
    // Without overwrite an existing target is left alone and the result is false.
    static bool moveFile(const LightweightString<char>& from, const LightweightString<char>& to, bool overwrite);
};
