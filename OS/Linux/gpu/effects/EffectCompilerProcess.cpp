#include "EffectCompilerProcess.h"

#include "EffectCache.h"
#include "EffectPreprocessor.h"
#include "EffectRenderStates.h"
#include "SpawnAttributes.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <iterator>
#include <map>
#include <thread>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

// Our own marker for the translator's file name, mapped back to the effect's
// files and lines before anyone sees the listing.
const std::string kCgName = "kvfxc-cg";

// Digits that std::stoul reads without overflow.
bool isNumber(const std::string& digits)
{
    return !digits.empty() && digits.size() <= 10 && digits.find_first_not_of("0123456789") == std::string::npos;
}

class Records
{
public:
    void add(const std::string& key, const std::string& value)
    {
        bytes += key + " " + std::to_string(value.size()) + "\n" + value + "\n";
    }
    std::string finish()
    {
        add("end", "");
        return std::move(bytes);
    }

    std::string bytes;
};

// Reads records back; false at the first malformed one or past the end record.
class RecordReader
{
public:
    explicit RecordReader(const std::string& bytes) : bytes_(bytes) {}

    bool next(std::string& key, std::string& value)
    {
        const size_t space = bytes_.find(' ', at_);
        const size_t newline = bytes_.find('\n', at_);
        if (space == std::string::npos || newline == std::string::npos || space > newline)
            return false;
        key = bytes_.substr(at_, space - at_);
        const std::string digits = bytes_.substr(space + 1, newline - space - 1);
        if (!isNumber(digits))
            return false;
        const size_t length = std::stoul(digits);
        if (length > bytes_.size() - newline - 1 || bytes_.size() - newline - 1 - length < 1 ||
            bytes_[newline + 1 + length] != '\n')
            return false;
        value = bytes_.substr(newline + 1, length);
        at_ = newline + 2 + length;
        return true;
    }

    bool atEnd() const { return at_ == bytes_.size(); }

private:
    const std::string& bytes_;
    size_t at_ = 0;
};

// The effect's Cg code as the translator wants it, with the effect location of
// every line it is made of.
struct CgSource
{
    std::string text;
    std::vector<EffectLocation> lines;

    void add(const std::string& piece, const EffectLocation& location)
    {
        unsigned line = location.line;
        for (const char c : piece) {
            if (c == '\n')
                lines.push_back({location.file, line++});
        }
        lines.push_back({location.file, line});
        text += piece + "\n";
    }
};

CgSource cgSourceOf(const EffectModel& model)
{
    // Types first: a parameter may be of a struct the file declares.
    auto isType = [](const EffectDeclaration& declaration) {
        return declaration.kind == EffectDeclaration::eStruct || declaration.kind == EffectDeclaration::eTypedef;
    };
    CgSource source;
    for (const EffectDeclaration& declaration : model.declarations)
        if (isType(declaration))
            source.add(declaration.text, declaration.location);
    for (const EffectParameter& parameter : model.parameters) {
        if (parameter.type.base == EffectType::eString)
            continue;
        std::string declaration = "uniform ";
        declaration.append(parameter.type.name).append(" ").append(parameter.name);
        const size_t elementSize = size_t(parameter.type.rows) * parameter.type.columns;
        for (const unsigned size : parameter.arraySizes) {
            const size_t known = size ? size : (elementSize ? parameter.defaults.size() / elementSize : 0);
            declaration.append("[").append(std::to_string(known ? known : 1)).append("]");
        }
        source.add(declaration + ";", parameter.location);
    }
    for (const EffectSampler& sampler : model.samplers)
        source.add("uniform " + sampler.typeName + " " + sampler.name + ";", sampler.location);
    for (const EffectDeclaration& declaration : model.declarations)
        if (!isType(declaration))
            source.add(declaration.text, declaration.location);
    return source;
}

// The translator's listing with its lines moved back to the effect's files.
std::vector<EffectError> effectLines(const std::string& listing, const CgSource& source, const EffectLocation& fallback)
{
    std::vector<EffectError> moved;
    size_t at = 0;
    while (at < listing.size()) {
        size_t end = listing.find('\n', at);
        if (end == std::string::npos)
            end = listing.size();
        const std::string line = listing.substr(at, end - at);
        at = end + 1;
        EffectLocation location = fallback;
        std::string message = line;
        const size_t close = line.find(") : error: ");
        if (line.rfind(kCgName + "(", 0) == 0 && close != std::string::npos) {
            const unsigned number = unsigned(std::strtoul(line.c_str() + kCgName.size() + 1, nullptr, 10));
            if (number >= 1 && number <= source.lines.size())
                location = source.lines[number - 1];
            message = line.substr(close + 11);
        }
        moved.emplace_back(location, message);
    }
    return moved;
}

// Where a message about one pass starts: the technique and pass by name, or by
// their place when they have none.
std::string passTitle(const EffectTechnique& technique, size_t techniqueIndex, const EffectPass& pass, size_t passIndex)
{
    const auto nameOr = [](const std::string& name, size_t index) {
        return name.empty() ? "#" + std::to_string(index + 1) : name;
    };
    return "technique " + nameOr(technique.name, techniqueIndex) + ", pass " + nameOr(pass.name, passIndex) + ": ";
}

// Why the translator cannot take a binding's profile, or nothing when it can.
// Cg's profiles and Direct3D's shader models 2 and 3 are Cg it translates;
// the assembly-era models 1.x and those after Direct3D 9 are not.
std::string profileRefusal(const std::string& profile, CgTranslator::eStage stage)
{
    enum class eFor { either, pixel, vertex };
    static const std::map<std::string, eFor> profiles = [] {
        std::map<std::string, eFor> byName;
        // PROFILE is the macro for the profile, when the caller gives none.
        for (const char* name : {"latest", "profile"})
            byName[name] = eFor::either;
        for (const char* name : {"arbfp1", "fp20", "fp30", "fp30unlimited", "fp40", "fp40unlimited", "gp4fp", "gp5fp",
                                 "glslf", "hlslf", "ps_2_0", "ps_2_a", "ps_2_b", "ps_2_x", "ps_2_sw", "ps_3_0", "ps_3_sw"})
            byName[name] = eFor::pixel;
        for (const char* name : {"arbvp1", "vp20", "vp30", "vp40", "gp4vp", "gp5vp", "glslv", "hlslv", "vs_2_0",
                                 "vs_2_a", "vs_2_x", "vs_2_sw", "vs_3_0", "vs_3_sw"})
            byName[name] = eFor::vertex;
        return byName;
    }();
    std::string lower = profile;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    const auto found = profiles.find(lower);
    if (found == profiles.end())
        return "the profile '" + profile + "' cannot be translated";
    const eFor wanted = stage == CgTranslator::eStage::vertex ? eFor::vertex : eFor::pixel;
    if (found->second != eFor::either && found->second != wanted)
        return "the profile '" + profile + "' is not for " + (wanted == eFor::vertex ? "vertex" : "pixel") + " shaders";
    return {};
}

CgTranslator::eStage stageOf(const EffectShaderBinding& binding)
{
    return binding.stage == EffectShaderBinding::eVertex ? CgTranslator::eStage::vertex : CgTranslator::eStage::pixel;
}

// A binding's GLSL, or why there is none: listing lines.
std::vector<EffectError> translate(const EffectShaderBinding& binding, const CgSource& source,
                                   const CgParser::Result& parsed, unsigned glslVersion, std::string& glsl)
{
    const CgTranslator::eStage stage = stageOf(binding);
    const std::string refusal =
        binding.assembly ? std::string(stage == CgTranslator::eStage::vertex ? "the vertex" : "the pixel") +
                               " shader is assembly, which cannot be translated"
                         : profileRefusal(binding.profile, stage);
    if (!refusal.empty())
        return {EffectError(binding.location, refusal)};
    CgTranslator::Translation translation =
        CgTranslator::translate(kCgName, parsed, binding.entry, stage, binding.arguments, glslVersion);
    if (!translation.succeeded)
        return effectLines(translation.listing.empty() ? "the translator gave no message for " + binding.entry
                                                       : translation.listing,
                           source, binding.location);
    glsl = std::move(translation.glsl);
    return {};
}

EffectCompilerProcess::Result failure(const std::string& name, const std::string& message)
{
    EffectError error;
    error.location = {name, 0};
    error.message = message;
    EffectCompilerProcess::Result result;
    result.listing = effectListing({error});
    return result;
}

bool stopped(EffectCompilerProcess::Result& result, EffectCompilerProcess::Result failed)
{
    result = std::move(failed);
    return false;
}

// A descriptor closed on every path out.
struct Descriptor
{
    int fd = -1;
    ~Descriptor() { reset(); }
    void reset()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
};

bool glslVersionIsKnown(unsigned version)
{
    return version == 120 || version == 130;
}

EffectCompilerProcess::Result unknownGlslVersion(const EffectCompilerProcess::Request& request)
{
    std::string message = "GLSL ";
    message.append(std::to_string(request.glslVersion)).append(" is not a translation target (120 or 130)");
    return failure(request.name, message);
}

bool isExecutable(const std::string& path)
{
    return ::access(path.c_str(), X_OK) == 0;
}

} // namespace

EffectCompilerProcess::EffectCompilerProcess(std::string compilerPath, std::string cacheFolder,
                                             std::chrono::milliseconds timeout)
    : compilerPath_(compilerPath.empty() ? defaultCompilerPath() : std::move(compilerPath)),
      cacheFolder_(EffectCache(std::move(cacheFolder)).folder()), timeout_(timeout)
{
}

const char* EffectCompilerProcess::translatorVersion()
{
    return "kvfxc 6: Cg syntax tree, glslang HLSL DX9 unoptimised, SPIRV-Cross, GLSL 130 or 120 compatibility, "
           "invalid techniques, include folders";
}

std::string EffectCompilerProcess::defaultCompilerPath()
{
    Dl_info info{};
    if (!::dladdr(reinterpret_cast<void*>(&EffectCompilerProcess::defaultCompilerPath), &info) || !info.dli_fname)
        return "kvfxc";
    char resolved[PATH_MAX];
    std::string folder = ::realpath(info.dli_fname, resolved) ? resolved : info.dli_fname;
    folder = folder.substr(0, folder.rfind('/') + 1);
    for (const char* candidate : {"../bin/kvfxc", "kvfxc", "tools/kvfxc", "../tools/kvfxc"}) {
        if (isExecutable(folder + candidate))
            return folder + candidate;
    }
    return folder + "../bin/kvfxc";
}

std::string EffectCompilerProcess::encodeRequest(const Request& request)
{
    Records records;
    records.add("kvfxc-request", "1");
    records.add("name", request.name);
    records.add("folder", request.folder);
    records.add("source", request.source);
    records.add("technique", request.technique);
    records.add("glsl", std::to_string(request.glslVersion));
    for (const auto& [name, value] : request.definitions)
        records.add("define", name + "=" + value);
    for (const std::string& folder : request.includeFolders)
        records.add("include", folder);
    return records.finish();
}

bool EffectCompilerProcess::decodeRequest(const std::string& bytes, Request& request)
{
    RecordReader reader(bytes);
    std::string key, value;
    if (!reader.next(key, value) || key != "kvfxc-request" || value != "1")
        return false;
    while (reader.next(key, value)) {
        if (key == "end")
            return reader.atEnd();
        if (key == "name")
            request.name = value;
        else if (key == "folder")
            request.folder = value;
        else if (key == "source")
            request.source = value;
        else if (key == "technique")
            request.technique = value;
        else if (key == "glsl") {
            // Any number reads; compileHere tells the caller which ones it translates to.
            if (value.empty() || value.size() > 9 || value.find_first_not_of("0123456789") != std::string::npos)
                return false;
            request.glslVersion = unsigned(std::stoul(value));
        } else if (key == "define") {
            const size_t equals = value.find('=');
            request.definitions.emplace_back(value.substr(0, equals),
                                             equals == std::string::npos ? "" : value.substr(equals + 1));
        } else if (key == "include")
            request.includeFolders.push_back(value);
        else
            return false;
    }
    return false;
}

std::string EffectCompilerProcess::encodeReply(const Result& result)
{
    Records records;
    records.add("kvfxc-reply", "2");
    for (const Shader& shader : result.shaders) {
        records.add("technique", shader.technique);
        records.add("pass", shader.pass);
        records.add("stage", shader.stage == CgTranslator::eStage::vertex ? "vertex" : "pixel");
        records.add("entry", shader.entry);
        records.add("glsl", shader.glsl);
    }
    for (const InvalidTechnique& invalid : result.invalidTechniques) {
        records.add("invalid", std::to_string(invalid.index));
        records.add("reason", invalid.reason);
    }
    records.add("succeeded", result.succeeded ? "1" : "0");
    records.add("listing", result.listing);
    return records.finish();
}

bool EffectCompilerProcess::decodeReply(const std::string& bytes, Result& result)
{
    RecordReader reader(bytes);
    std::string key, value;
    if (!reader.next(key, value) || key != "kvfxc-reply" || value != "2")
        return false;
    Result decoded;
    bool sawStatus = false;
    while (reader.next(key, value)) {
        if (key == "end") {
            if (!reader.atEnd() || !sawStatus)
                return false;
            result = std::move(decoded);
            return true;
        }
        if (key == "technique")
            decoded.shaders.push_back({value, {}, CgTranslator::eStage::pixel, {}, {}});
        else if (decoded.shaders.empty() && (key == "pass" || key == "stage" || key == "entry" || key == "glsl"))
            return false;
        else if (key == "pass")
            decoded.shaders.back().pass = value;
        else if (key == "stage" && (value == "pixel" || value == "vertex"))
            decoded.shaders.back().stage = value == "vertex" ? CgTranslator::eStage::vertex : CgTranslator::eStage::pixel;
        else if (key == "entry")
            decoded.shaders.back().entry = value;
        else if (key == "glsl")
            decoded.shaders.back().glsl = value;
        else if (key == "invalid" && isNumber(value))
            decoded.invalidTechniques.push_back({std::stoul(value), {}});
        else if (key == "reason" && !decoded.invalidTechniques.empty())
            decoded.invalidTechniques.back().reason = value;
        else if (key == "succeeded" && (value == "1" || value == "0")) {
            decoded.succeeded = value == "1";
            sawStatus = true;
        } else if (key == "listing")
            decoded.listing = value;
        else
            return false;
    }
    return false;
}

EffectCompilerProcess::Result EffectCompilerProcess::compileHere(const Request& request)
{
    if (!glslVersionIsKnown(request.glslVersion))
        return unknownGlslVersion(request);
    Result result;
    const EffectModel model = EffectParser::parseBuffer(request.source, request.name, request.folder, request.definitions,
                                                        request.includeFolders);
    if (model.failed()) {
        result.listing = effectListing(model.errors);
        return result;
    }
    const CgSource source = cgSourceOf(model);
    // Every shader of the techniques asked for, translated side by side: the
    // entries of a large effect are independent, and each takes long.
    std::vector<const EffectShaderBinding*> bindings;
    for (const EffectTechnique& technique : model.techniques)
        if (request.technique.empty() || technique.name == request.technique)
            for (const EffectPass& pass : technique.passes)
                for (const EffectShaderBinding& binding : pass.shaders)
                    if (!binding.entry.empty() || binding.assembly)
                        bindings.push_back(&binding);
    std::vector<std::pair<std::vector<EffectError>, std::string>> translations(bindings.size());
    const CgParser::Result parsed = CgParser::parse(source.text);
    {
        std::atomic<size_t> next = 0;
        auto work = [&] {
            for (size_t at = next++; at < bindings.size(); at = next++)
                translations[at].first = translate(*bindings[at], source, parsed, request.glslVersion, translations[at].second);
        };
        std::vector<std::thread> workers(std::min<size_t>(std::max(1u, std::thread::hardware_concurrency()), bindings.size()));
        for (std::thread& worker : workers)
            worker = std::thread(work);
        for (std::thread& worker : workers)
            worker.join();
    }
    auto translation = translations.begin();
    std::vector<EffectError> diagnostics; // of the file as a whole: errors fail it, warnings do not
    std::vector<EffectError> reasons;     // of the invalid techniques
    bool found = request.technique.empty();
    size_t translated = 0;
    for (size_t index = 0; index < model.techniques.size(); ++index) {
        const EffectTechnique& technique = model.techniques[index];
        if (!request.technique.empty() && technique.name != request.technique)
            continue;
        found = true;
        std::vector<Shader> shaders;
        std::vector<EffectError> refused;
        for (size_t passIndex = 0; passIndex < technique.passes.size(); ++passIndex) {
            const EffectPass& pass = technique.passes[passIndex];
            // Render states are read here too, so that a bad one fails the compile wherever it runs.
            const EffectRenderStates states(pass.states, diagnostics);
            // One reason is enough to make a technique invalid.
            for (const EffectShaderBinding& binding : pass.shaders) {
                if (binding.entry.empty() && !binding.assembly)
                    continue;
                auto& [translationRefused, glsl] = *translation++;
                if (!refused.empty())
                    continue;
                Shader shader{technique.name, pass.name, stageOf(binding), binding.entry, std::move(glsl)};
                refused = std::move(translationRefused);
                for (EffectError& line : refused)
                    line.message.insert(0, passTitle(technique, index, pass, passIndex));
                if (refused.empty())
                    shaders.push_back(std::move(shader));
            }
        }
        if (refused.empty()) {
            ++translated;
            std::move(shaders.begin(), shaders.end(), std::back_inserter(result.shaders));
        } else {
            result.invalidTechniques.push_back({index, effectListing(refused)});
            reasons.insert(reasons.end(), refused.begin(), refused.end());
        }
    }
    if (model.techniques.empty() || !found) {
        EffectError missing;
        missing.location = {request.name, 1};
        missing.message = model.techniques.empty() ? "the effect has no technique" : "no technique named " + request.technique;
        diagnostics.push_back(missing);
    }
    const bool loads = std::none_of(diagnostics.begin(), diagnostics.end(),
                                    [](const EffectError& line) { return line.severity == EffectError::eError; });
    result.succeeded = loads && translated > 0;
    result.listing = effectListing(diagnostics) + effectListing(reasons);
    return result;
}

EffectCompilerProcess::Result EffectCompilerProcess::compile(const Request& request) const
{
    if (!glslVersionIsKnown(request.glslVersion))
        return unknownGlslVersion(request);
    // The key is made from the text the compiler will read: preprocessed here
    // with the same include folders, so that a header found elsewhere, or not
    // found, makes another key.
    EffectPreprocessor preprocessor;
    for (const auto& [name, value] : request.definitions)
        preprocessor.define(name, value);
    preprocessor.setIncludeFolders(request.includeFolders);
    const EffectPreprocessor::Output preprocessed = preprocessor.processBuffer(request.source, request.name, request.folder);
    // Listings carry file names and lines, so they are part of what is cached.
    std::string lines;
    for (const EffectLocation& location : preprocessed.lines)
        lines += location.file + ":" + std::to_string(location.line) + "\n";
    std::string definitions;
    for (const auto& [name, value] : request.definitions)
        definitions += std::to_string(name.size()) + ":" + name + "=" + std::to_string(value.size()) + ":" + value + "\n";
    std::string includeFolders;
    for (const std::string& folder : request.includeFolders)
        includeFolders += std::to_string(folder.size()) + ":" + folder + "\n";
    const EffectCache cache(cacheFolder_);
    const std::string glslVersion = std::to_string(request.glslVersion);
    const std::string key = EffectCache::keyOf({preprocessed.text, lines, effectListing(preprocessed.errors), definitions,
                                                includeFolders, request.name, request.technique, glslVersion,
                                                translatorVersion()});
    if (const std::optional<std::string> cached = cache.load(key)) {
        Result result;
        if (decodeReply(*cached, result)) {
            result.fromCache = true;
            return result;
        }
    }
    Result result;
    // A stopped process is not the file's fault: the next attempt tries again.
    if (runCompiler(request, result))
        cache.store(key, encodeReply(result));
    return result;
}

bool EffectCompilerProcess::runCompiler(const Request& request, Result& result) const
{
    const Clock::time_point deadline = Clock::now() + timeout_;
    // A socket rather than a pipe: a write to a compiler that died early fails
    // with EPIPE instead of raising SIGPIPE in the editor.
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return stopped(result, failure(request.name, "the effect compiler could not be started (" + std::string(std::strerror(errno)) + ")"));
    Descriptor ours{ends[0]}, theirs{ends[1]};

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, theirs.fd, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, theirs.fd, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // The child must not inherit a blocked SIGPIPE or ignored signals from the caller's thread.
    const SpawnAttributes attributes;
    std::string program = compilerPath_;
    std::string serve = "--serve";
    char* arguments[] = {program.data(), serve.data(), nullptr};
    pid_t pid = -1;
    const int spawned = ::posix_spawn(&pid, program.c_str(), &actions, attributes.get(), arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    theirs.reset();
    if (spawned != 0)
        return stopped(result, failure(request.name, "the effect compiler could not be started (" + std::string(std::strerror(spawned)) +
                                         ": " + compilerPath_ + ")"));

    ::fcntl(ours.fd, F_SETFL, ::fcntl(ours.fd, F_GETFL) | O_NONBLOCK);
    const std::string message = encodeRequest(request);
    size_t sent = 0;
    std::string reply;
    bool timedOut = false;
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            timedOut = true;
            break;
        }
        pollfd watch{ours.fd, short(POLLIN | (sent < message.size() ? POLLOUT : 0)), 0};
        const int ready = ::poll(&watch, 1, int(left));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            break;
        if (watch.revents & POLLOUT) {
            const ssize_t written = ::send(ours.fd, message.data() + sent, message.size() - sent, MSG_NOSIGNAL);
            if (written > 0)
                sent += size_t(written);
            else if (written < 0 && errno != EAGAIN && errno != EINTR)
                sent = message.size(); // it stopped reading; its exit tells why
            if (sent == message.size())
                ::shutdown(ours.fd, SHUT_WR);
        }
        if (watch.revents & (POLLIN | POLLHUP | POLLERR)) {
            char buffer[65536];
            const ssize_t got = ::recv(ours.fd, buffer, sizeof buffer, 0);
            if (got > 0)
                reply.append(buffer, size_t(got));
            else if (got == 0 || (errno != EAGAIN && errno != EINTR))
                break;
        }
    }
    ours.reset();

    // Reap within the same deadline; a process that outlives it is killed.
    int status = 0;
    pid_t reaped = 0;
    while (!timedOut && ((reaped = ::waitpid(pid, &status, WNOHANG)) == 0 || (reaped < 0 && errno == EINTR))) {
        if (Clock::now() >= deadline)
            timedOut = true;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (timedOut) {
        ::kill(pid, SIGKILL);
        while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        return stopped(result, failure(request.name, "the effect compiler did not answer within " + std::to_string(timeout_.count()) +
                                         " ms and was stopped"));
    }
    if (reaped < 0)
        return stopped(result, failure(request.name, "the effect compiler was lost (" + std::string(std::strerror(errno)) + ")"));
    if (WIFSIGNALED(status))
        return stopped(result, failure(request.name,
                       "the effect compiler stopped unexpectedly (signal " + std::to_string(WTERMSIG(status)) + ")"));
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return stopped(result, failure(request.name, "the effect compiler stopped unexpectedly (exit code " +
                                         std::to_string(WEXITSTATUS(status)) + ")"));
    if (!decodeReply(reply, result))
        return stopped(result, failure(request.name, "the effect compiler gave an unreadable answer"));
    return true;
}
