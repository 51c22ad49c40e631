// Effect files: the bytes as an effect compiled in this process, as kvfxc
// compiles it: preprocessed, parsed, and each shader translated to GLSL
// without OpenGL. The file is also on disk under two names, so that it can
// include itself and another file.
//
// A failed compile must say why; a successful one gives GLSL for each of its
// shaders, and its reply reads back as it was written.

#include "FuzzSupport.h"

#include "EffectPreprocessor.h"
#include "SameReply.h"

#include <algorithm>

namespace
{
    const EffectParser::Definitions kDefinitions = {{"PROFILE", "glslf"}, {"OSX", "1"}};

    void checkPreprocessor(const std::string& source, const std::string& folder)
    {
        EffectPreprocessor preprocessor;
        for (const auto& [name, value] : kDefinitions)
            preprocessor.define(name, value);
        const EffectPreprocessor::Output output = preprocessor.processBuffer(source, "effect.fx", folder);
        expect(std::size_t(std::count(output.text.begin(), output.text.end(), '\n')) == output.lines.size(),
               "every preprocessed line knows where it came from");
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const ScratchFolder folder;
    folder.write("effect.fx", data, size);
    folder.write("effect.fxh", data, size);
    const std::string source(reinterpret_cast<const char*>(data), size);

    checkPreprocessor(source, folder.path());

    EffectCompilerProcess::Request request{"effect.fx", folder.path(), source, kDefinitions, {}};
    const EffectCompilerProcess::Result result = EffectCompilerProcess::compileHere(request);
    expect(result.succeeded || !result.listing.empty(), "a failed compile says why");
    for (const EffectCompilerProcess::Shader& shader : result.shaders)
        expect(!shader.glsl.empty(), "a translated shader has GLSL");

    EffectCompilerProcess::Result decoded;
    expect(EffectCompilerProcess::decodeReply(EffectCompilerProcess::encodeReply(result), decoded) &&
               sameReply(decoded, result),
           "a reply reads back as it was written");
    return 0;
}
