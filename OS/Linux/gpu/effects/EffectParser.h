#pragma once

#include "EffectModel.h"
#include "EffectPreprocessor.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Reads the effect constructs of a preprocessed effect file: textures, samplers
// with their states, parameters with semantics, annotations and defaults,
// techniques and passes, and the Script annotations of the effect, its
// techniques and passes as commands. Structs, static constants and functions
// are kept as source text for the translator.
//
// A declaration may declare several names ("int width = 64, height = 64;").
// Defaults and annotation values are constant expressions over numbers, true
// and false, vector and matrix constructors, casts and initialiser lists
// (nested for matrices), flattened row after row; a default the parser cannot
// evaluate (it names a parameter or calls a function) is kept as text alone.
//
// Parsing stops at the first error, which comes back in the model's errors with
// the line it was found on: a syntax error, a value of the wrong size or kind,
// or a script whose commands do not fit the effect.
class EffectParser
{
public:
    // Name and value of each predefined macro: the profile and the compiler definitions.
    using Definitions = std::vector<std::pair<std::string, std::string>>;

    // includeFolders are searched for includes after the including file's folder.
    static EffectModel parseFile(const std::string& path, const Definitions& definitions,
                                 const std::vector<std::string>& includeFolders = {});
    // folder is where the buffer's includes are looked for first, with its trailing "/".
    static EffectModel parseBuffer(const std::string& source, const std::string& name, const std::string& folder,
                                   const Definitions& definitions, const std::vector<std::string>& includeFolders = {});
    static EffectModel parse(const EffectPreprocessor::Output& source);
    // A numeric type as Cg spells it: "float3x3", "half2", "int".
    static EffectType typeNamed(std::string_view name);
};
