#pragma once

#include "EffectModel.h"
#include "EffectPreprocessor.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Reads the effect constructs of a preprocessed effect file: textures, samplers
// with their states, parameters with semantics, annotations and defaults,
// techniques and passes. Structs, static constants and functions are kept as
// source text for the translator. Parsing stops at the first syntax error, which
// comes back in the model's errors with the line it was found on.
class EffectParser
{
public:
    // Name and value of each predefined macro: the profile and the compiler definitions.
    using Definitions = std::vector<std::pair<std::string, std::string>>;

    static EffectModel parseFile(const std::string& path, const Definitions& definitions);
    // folder is where the buffer's includes are looked for, with its trailing "/".
    static EffectModel parseBuffer(const std::string& source, const std::string& name, const std::string& folder,
                                   const Definitions& definitions);
    static EffectModel parse(const EffectPreprocessor::Output& source);
    // A numeric type as Cg spells it: "float3x3", "half2", "int".
    static EffectType typeNamed(std::string_view name);
};
