// The effect compiler: Cg effect files to GLSL, for effect authors and, with
// --serve, as the library's compiler process.

#include "EffectCompilerProcess.h"
#include "EffectParser.h"
#include "EffectPreprocessor.h"
#include "EGLPlatform.h"
#include "GLSLEffect.h"
#include "OpenGLContextProtector.h"
#include "OpenGLUtils.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

const char kUsage[] =
    "usage: kvfxc [-D NAME=VALUE]... [-I DIR]... [--technique NAME] [--glsl 120|130] [--validate] FILE\n"
    "       kvfxc --serve\n"
    "Compiles a Cg effect file to GLSL and prints each technique's passes with their\n"
    "GLSL, the parameters with their types, semantics and annotations, and the\n"
    "listing of errors and warnings. A technique with a shader that cannot be\n"
    "translated (assembly, a profile the translator does not take, Cg it refuses)\n"
    "is invalid and listed with its reason; the other techniques still compile.\n"
    "Exits 0 when every technique translates, 3 when some technique is invalid but\n"
    "another translates, 1 when the file does not load or no technique translates,\n"
    "2 on bad usage.\n"
    "-I adds a folder where includes are looked for after the including file's own,\n"
    "in the order given.\n"
    "--glsl chooses the GLSL version written: 130 (the default), or 120 for drivers\n"
    "without GLSL 1.30.\n"
    "--validate also links every pass on this machine's OpenGL (surfaceless EGL) and\n"
    "lists each invalid technique with its reason, the driver's errors for those\n"
    "that do not link. It exits 0 when every technique validates, 3 when the file\n"
    "loads and at least one technique validates, 1 when the file does not load or\n"
    "no technique validates, and 2 when no OpenGL can be had.\n"
    "--serve reads one request on standard input and writes one reply on standard\n"
    "output, for the library.\n";

int serve()
{
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        bytes.append(buffer, size_t(got));
    }
    EffectCompilerProcess::Request request;
    if (!EffectCompilerProcess::decodeRequest(bytes, request)) {
        std::fputs("kvfxc: the request could not be read\n", stderr);
        return 2;
    }
    const std::string reply = EffectCompilerProcess::encodeReply(EffectCompilerProcess::compileHere(request));
    return std::fwrite(reply.data(), 1, reply.size(), stdout) == reply.size() && std::fflush(stdout) == 0 ? 0 : 2;
}

std::string annotationText(const EffectAnnotation& annotation)
{
    std::string text = annotation.typeName + " " + annotation.name + " = ";
    if (annotation.type == EffectAnnotation::eString)
        return text + "\"" + annotation.text + "\"";
    for (size_t index = 0; index < annotation.values.size(); ++index) {
        std::ostringstream number;
        number << annotation.values[index];
        text += (index ? ", " : "") + number.str();
    }
    return text;
}

void printAnnotations(const EffectAnnotations& annotations, const char* indent)
{
    for (const EffectAnnotation& annotation : annotations)
        std::cout << indent << annotationText(annotation) << "\n";
}

void printModel(const EffectModel& model, const EffectCompilerProcess::Result& result, const std::string& only)
{
    for (const EffectParameter& parameter : model.parameters) {
        std::cout << "parameter " << parameter.type.name << " " << parameter.name;
        for (const unsigned size : parameter.arraySizes)
            std::cout << "[" << size << "]";
        if (!parameter.semantic.empty())
            std::cout << " : " << parameter.semantic;
        if (!parameter.defaultText.empty())
            std::cout << " = " << parameter.defaultText;
        std::cout << "\n";
        printAnnotations(parameter.annotations, "    ");
    }
    for (const EffectSampler& sampler : model.samplers) {
        std::cout << "sampler " << sampler.typeName << " " << sampler.name;
        if (!sampler.texture.empty())
            std::cout << " (texture " << sampler.texture << ")";
        std::cout << "\n";
        printAnnotations(sampler.annotations, "    ");
    }
    for (const EffectTechnique& technique : model.techniques) {
        if (!only.empty() && technique.name != only)
            continue;
        std::cout << "technique " << technique.name << "\n";
        printAnnotations(technique.annotations, "    ");
        for (const EffectPass& pass : technique.passes) {
            std::cout << "  pass " << pass.name << "\n";
            printAnnotations(pass.annotations, "      ");
            for (const EffectState& state : pass.states)
                std::cout << "      " << state.name << " = " << state.value << "\n";
            for (const EffectCompilerProcess::Shader& shader : result.shaders) {
                if (shader.technique != technique.name || shader.pass != pass.name)
                    continue;
                std::cout << "    "
                          << (shader.stage == CgTranslator::eStage::vertex ? "vertex program " : "pixel program ")
                          << shader.entry << "\n"
                          << shader.glsl;
                if (!shader.glsl.empty() && shader.glsl.back() != '\n')
                    std::cout << "\n";
            }
        }
    }
}

// The driver's messages go into the listing as errors on line 0: the GLSL's
// lines are not the effect file's. Techniques the compiler could not translate
// had their reasons listed already.
int validateTechniques(const EffectModel& model, const EffectCompilerProcess::Result& result,
                       const EffectCompilerProcess::Request& request)
{
    if (!OpenGLUtils::isAvailable()) {
        std::cerr << "kvfxc: cannot validate, " << EGLPlatform::instance().unavailableReason() << "\n";
        return 2;
    }
    const OpenGLContextProtector protector;
    GLSLEffect::Compilation compilation = GLSLEffect::fromCompiled(model, result, request.technique);
    if (!compilation.effect) {
        std::cerr << compilation.listing;
        return 1;
    }
    GLSLEffect& effect = *compilation.effect;
    std::size_t valid = 0;
    for (std::size_t index = 0; index < effect.techniqueCount(); ++index) {
        const bool listed = effect.technique(index).validity == GLSLEffect::Technique::eValidity::invalid;
        if (effect.validateTechnique(index)) {
            ++valid;
            continue;
        }
        if (listed)
            continue;
        std::istringstream lines(effect.technique(index).validationLog);
        for (std::string line; std::getline(lines, line);)
            std::cerr << request.name << "(0) : error: technique " << effect.technique(index).name << ", " << line
                      << "\n";
    }
    const std::size_t asked = effect.techniqueCount();
    // The programs go while their context is still current.
    compilation.effect.reset();
    return valid == asked ? 0 : valid > 0 ? 3 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    EffectCompilerProcess::Request request;
    std::string path;
    bool validate = false;
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        if (argument == "--serve" && argc == 2)
            return serve();
        if (argument == "--help" || argument == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if (argument == "--validate") {
            validate = true;
            continue;
        }
        if (argument == "-I" && index + 1 < argc) {
            request.includeFolders.push_back(argv[++index]);
            continue;
        }
        if (argument.rfind("-I", 0) == 0 && argument.size() > 2) {
            request.includeFolders.push_back(argument.substr(2));
            continue;
        }
        std::string definition;
        if (argument == "-D" && index + 1 < argc)
            definition = argv[++index];
        else if (argument.rfind("-D", 0) == 0 && argument.size() > 2)
            definition = argument.substr(2);
        else if (argument == "--technique" && index + 1 < argc) {
            request.technique = argv[++index];
            continue;
        } else if (argument == "--glsl" && index + 1 < argc) {
            const std::string version = argv[++index];
            if (version != "120" && version != "130") {
                std::cerr << "kvfxc: --glsl takes 120 or 130, not " << version << "\n" << kUsage;
                return 2;
            }
            request.glslVersion = unsigned(std::stoul(version));
            continue;
        } else if (!argument.empty() && argument[0] != '-' && path.empty()) {
            path = argument;
            continue;
        } else {
            std::cerr << kUsage;
            return 2;
        }
        const size_t equals = definition.find('=');
        request.definitions.emplace_back(definition.substr(0, equals),
                                         equals == std::string::npos ? "1" : definition.substr(equals + 1));
    }
    if (path.empty()) {
        std::cerr << kUsage;
        return 2;
    }
    if (!EffectPreprocessor::readFile(path, request.source)) {
        std::cerr << "kvfxc: cannot read " << path << "\n";
        return 2;
    }
    request.name = path;
    request.folder = EffectPreprocessor::folderOf(path);

    const EffectCompilerProcess::Result result = EffectCompilerProcess::compileHere(request);
    const EffectModel model =
        EffectParser::parseBuffer(request.source, request.name, request.folder, request.definitions,
                                  request.includeFolders);
    printModel(model, result, request.technique);
    std::cout << std::flush;
    std::cerr << result.listing;
    if (!result.succeeded)
        return 1;
    if (validate)
        return validateTechniques(model, result, request);
    // A file that compiled has at least one technique translated.
    return result.invalidTechniques.empty() ? 0 : 3;
}
