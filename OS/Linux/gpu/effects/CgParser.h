#pragma once

#include "CgSyntax.h"

#include <string>
#include <string_view>

// Parses the Cg code of an effect (structs, typedefs, globals and functions,
// with the preprocessor already run) into a CgNode tree.
//
// Cg is read as Cg, not as HLSL: words that are keywords elsewhere (texture,
// sampler, vector, pass...) are names wherever they stand as names, and a
// type word such as half is a name where it cannot be a type. Any byte
// sequence gives either a tree or the first error with its line; nesting is
// bounded, so hostile input cannot exhaust the stack.
class CgParser
{
public:
    struct Result
    {
        CgNode unit{CgNode::eUnit, {}, 1};
        int errorLine = 0;
        std::string error; // empty when the text parsed

        bool failed() const { return !error.empty(); }
    };

    static Result parse(std::string_view source);

    // float, half4, fixed3x3, bool2, int, void, sampler2D, samplerRECT, ...
    static bool isBuiltinType(std::string_view name);
};
