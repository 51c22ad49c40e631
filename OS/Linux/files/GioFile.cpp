#include "GioFile.h"

#include "CriticalSectionLock.h"
#include "FileManager.h"
#include "FileTimes.h"
#include "iThreadManager.h"

namespace
{
    const char* timeAttribute(iFile::eTimeType type)
    {
        return type == iFile::eTimeModified  ? G_FILE_ATTRIBUTE_TIME_MODIFIED
               : type == iFile::eTimeChanged ? G_FILE_ATTRIBUTE_TIME_CHANGED
                                             : G_FILE_ATTRIBUTE_TIME_ACCESS;
    }
}

GioFile::GioFile(const LightweightString<wchar_t>& name, unsigned int access, eOpenBehaviour behaviour, eShareMode,
                 unsigned int flags)
    : handle(nullptr), input(nullptr), output(nullptr), flags(flags), osName(FileManager::KvtoOS(name)), name(name)
{
    file = g_file_new_for_uri(osName.c_str());
    if (access == eAccessRead) {
        if (GFileInputStream* stream = g_file_read(file, nullptr, nullptr)) {
            handle = G_OBJECT(stream);
            input = G_INPUT_STREAM(stream);
        }
    } else {
        openForWriting(behaviour);
    }
    lock = OS()->threadMgr()->createCriticalSection(0);
}

// A file opened to be created is created, and emptied where it exists, so a
// copy leaves exactly its source's bytes. Otherwise nothing is created: an
// existing file is opened in place, or appended to on backends without
// read-write streams (GVfs's SMB).
void GioFile::openForWriting(eOpenBehaviour behaviour)
{
    GFileOutputStream* stream = nullptr;
    if (behaviour == eCreateNew)
        stream = g_file_create(file, G_FILE_CREATE_NONE, nullptr, nullptr);
    else if (behaviour == eCreateAlways)
        stream = g_file_replace(file, nullptr, FALSE, G_FILE_CREATE_NONE, nullptr, nullptr);
    else if (GFileIOStream* both = g_file_open_readwrite(file, nullptr, nullptr)) {
        handle = G_OBJECT(both);
        input = g_io_stream_get_input_stream(G_IO_STREAM(both));
        output = g_io_stream_get_output_stream(G_IO_STREAM(both));
        return;
    } else if (g_file_query_exists(file, nullptr))
        stream = g_file_append_to(file, G_FILE_CREATE_NONE, nullptr, nullptr);
    if (stream) {
        handle = G_OBJECT(stream);
        output = G_OUTPUT_STREAM(stream);
    }
}

// Releasing the stream closes it. A delete-on-close file is left behind.
GioFile::~GioFile()
{
    if (handle)
        g_object_unref(handle);
    g_object_unref(file);
}

LightweightString<wchar_t> GioFile::getFileName() const { return name; }

unsigned int GioFile::read(void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    if (!input)
        return 0;
    gsize got = 0;
    g_input_stream_read_all(input, buffer, bytes, &got, nullptr, nullptr);
    return static_cast<unsigned int>(got);
}

unsigned int GioFile::readAt(unsigned long long position, void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    positionAt(position);
    return read(buffer, bytes);
}

bool GioFile::readAsync(void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

bool GioFile::readAtAsync(unsigned long long, void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

// Always true: callers learn of a failed transfer from the file, not here.
bool GioFile::write(void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    if (output)
        g_output_stream_write_all(output, buffer, bytes, nullptr, nullptr, nullptr);
    return true;
}

bool GioFile::writeAsync(void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

bool GioFile::writeAt(unsigned long long position, void* buffer, unsigned int bytes)
{
    CriticalSectionLock guard(lock);
    positionAt(position);
    return write(buffer, bytes);
}

bool GioFile::writeAtAsync(unsigned long long, void*, unsigned int, Kv::Ptr<iAsyncContext>) { return false; }

bool GioFile::positionAt(unsigned long long position)
{
    if (handle)
        g_seekable_seek(G_SEEKABLE(handle), goffset(position), G_SEEK_SET, nullptr, nullptr);
    return true;
}

unsigned long long GioFile::getPosition() const
{
    return handle ? static_cast<unsigned long long>(g_seekable_tell(G_SEEKABLE(handle))) : 0;
}

unsigned long long GioFile::getTime(eTimeType type) const
{
    if (!handle)
        return 0;
    GFileInfo* info = g_file_query_info(file, timeAttribute(type), G_FILE_QUERY_INFO_NONE, nullptr, nullptr);
    if (!info)
        return 0;
    const unsigned long long seconds = g_file_info_get_attribute_uint64(info, timeAttribute(type));
    g_object_unref(info);
    return seconds * FileTimes::kTicksPerSecond;
}

// Access and modification are set together, in whole seconds.
bool GioFile::setTime(eTimeType type, const unsigned long long& time)
{
    if (!handle || type == eTimeChanged)
        return false;
    const guint64 seconds = time / FileTimes::kTicksPerSecond;
    bool set = true;
    for (const char* attribute : {G_FILE_ATTRIBUTE_TIME_MODIFIED, G_FILE_ATTRIBUTE_TIME_ACCESS})
        set = g_file_set_attribute_uint64(file, attribute, seconds, G_FILE_QUERY_INFO_NONE, nullptr, nullptr) && set;
    for (const char* attribute : {G_FILE_ATTRIBUTE_TIME_MODIFIED_USEC, G_FILE_ATTRIBUTE_TIME_ACCESS_USEC})
        g_file_set_attribute_uint32(file, attribute, 0, G_FILE_QUERY_INFO_NONE, nullptr, nullptr);
    return set;
}

unsigned long long GioFile::getSize() const
{
    CriticalSectionLock guard(lock);
    if (!handle)
        return 0;
    GSeekable* seekable = G_SEEKABLE(handle);
    const goffset position = g_seekable_tell(seekable);
    g_seekable_seek(seekable, 0, G_SEEK_END, nullptr, nullptr);
    const goffset end = g_seekable_tell(seekable);
    g_seekable_seek(seekable, position, G_SEEK_SET, nullptr, nullptr);
    return static_cast<unsigned long long>(end);
}

bool GioFile::truncate(unsigned long long) { return false; }

bool GioFile::isOpen() const { return handle != nullptr; }
