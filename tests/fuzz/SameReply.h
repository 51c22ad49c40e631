#pragma once

#include "EffectCompilerProcess.h"

#include <algorithm>

// Whether two compiler replies say the same; fromCache is no part of a reply.
inline bool sameReply(const EffectCompilerProcess::Result& a, const EffectCompilerProcess::Result& b)
{
    auto sameShader = [](const EffectCompilerProcess::Shader& x, const EffectCompilerProcess::Shader& y) {
        return x.technique == y.technique && x.pass == y.pass && x.stage == y.stage && x.entry == y.entry &&
               x.glsl == y.glsl;
    };
    auto sameInvalid = [](const EffectCompilerProcess::InvalidTechnique& x,
                          const EffectCompilerProcess::InvalidTechnique& y) {
        return x.index == y.index && x.reason == y.reason;
    };
    return a.succeeded == b.succeeded && a.listing == b.listing &&
           std::equal(a.shaders.begin(), a.shaders.end(), b.shaders.begin(), b.shaders.end(), sameShader) &&
           std::equal(a.invalidTechniques.begin(), a.invalidTechniques.end(), b.invalidTechniques.begin(),
                      b.invalidTechniques.end(), sameInvalid);
}
