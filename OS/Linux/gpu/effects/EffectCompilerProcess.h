#pragma once

#include "CgTranslator.h"
#include "EffectParser.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

// Compiles effect files to GLSL in a process of its own, kvfxc, so that a
// translator that crashes or hangs on odd input costs a compile error, never
// the editor. Translations are cached on disk: a second compile of the same
// preprocessed source with the same definitions and include folders spawns
// nothing.
//
// Finding kvfxc, unless the constructor is given its path: beside the code that
// holds this class (the shared library, or a program linked with it), first
// "../bin/kvfxc" (an installed library in lib/), then "kvfxc" in the same
// folder, then "tools/kvfxc" and "../tools/kvfxc" (the build tree).
//
// The conversation with kvfxc --serve, over its standard input and output:
// both ways a sequence of records "<key> <length>\n<length bytes>\n", ending
// with the record "end 0\n\n".
//   request: "kvfxc-request" "1", "name", "folder" (with its trailing "/"),
//            "source", "technique" (empty for every technique), "glsl" (the
//            GLSL version; a request without it asks for 130), then one
//            "define" per definition holding "NAME=VALUE", and one "include"
//            per include folder, in the order they are searched.
//   reply:   "kvfxc-reply" "2", then per compiled shader "technique", "pass",
//            "stage" ("pixel" or "vertex"), "entry", "glsl"; then per invalid
//            technique "invalid" (its index) and "reason"; then "succeeded"
//            ("1" or "0") and "listing".
// The cache stores replies as they are; an entry that does not decode is a miss.
//
// A technique with a shader that cannot be translated (assembly, a profile the
// translator does not take, Cg it refuses) is invalid, and its reason is
// listed; the file still compiles when another technique translates.
//
// compile() blocks its caller for at most the timeout; it is safe to call from
// several threads at once, each call runs its own process.
class EffectCompilerProcess
{
public:
    struct Request
    {
        std::string name;   // the file name used in the listing
        std::string folder; // where includes are looked for, with its trailing "/"
        std::string source;
        EffectParser::Definitions definitions;
        std::string technique; // empty: every technique
        unsigned glslVersion = 130; // 130, or 120 for drivers without GLSL 1.30
        std::vector<std::string> includeFolders = {}; // searched after folder
    };

    struct Shader
    {
        std::string technique;
        std::string pass;
        CgTranslator::eStage stage = CgTranslator::eStage::pixel;
        std::string entry;
        std::string glsl;
    };

    struct InvalidTechnique
    {
        std::size_t index = 0; // among all the file's techniques, in file order
        std::string reason;    // lines "file(line) : error: technique T, pass P: message"
    };

    struct Result
    {
        // False when the file does not load or no technique asked for translates.
        bool succeeded = false;
        // Every error, invalid technique's reason and warning: lines
        // "file(line) : error: message" and "file(line) : warning: message".
        std::string listing;
        std::vector<Shader> shaders; // of the valid techniques
        std::vector<InvalidTechnique> invalidTechniques;
        bool fromCache = false;
    };

    // Empty arguments choose kvfxc beside the library and the user's cache folder.
    explicit EffectCompilerProcess(std::string compilerPath = {}, std::string cacheFolder = {},
                                   std::chrono::milliseconds timeout = std::chrono::seconds(5));

    Result compile(const Request& request) const;

    // What kvfxc does with a request, in the calling process.
    static Result compileHere(const Request& request);

    static std::string encodeRequest(const Request& request);
    static bool decodeRequest(const std::string& bytes, Request& request);
    static std::string encodeReply(const Result& result);
    static bool decodeReply(const std::string& bytes, Result& result);

    static std::string defaultCompilerPath();
    // Changes whenever the translation of a given source may change, so that old cache entries go unused.
    static const char* translatorVersion();

    const std::string& compilerPath() const { return compilerPath_; }
    const std::string& cacheFolder() const { return cacheFolder_; }

private:
    // False when the process gave no answer; result then holds why, as a listing line.
    bool runCompiler(const Request& request, Result& result) const;

    std::string compilerPath_;
    std::string cacheFolder_;
    std::chrono::milliseconds timeout_;
};
