#pragma once

#include "EffectModel.h"
#include "GLSLEffectPass.h"

// The uniform parameters of the entry functions that an effect's passes
// compile, as parameters of the effect: a Cg program for an image filter
// takes its inputs that way rather than as globals.
//
// A parameter that `compile` binds to an argument is not one. A struct gives
// one parameter per member, named as Cg code reaches it ("IN.video_size"),
// which is also the name its uniform has in GLSL. A sampler keeps its
// semantic, so that TEXUNITn can put it on unit n.
class CgEntryUniforms
{
public:
    // Appends those that are not parameters already, in the order the
    // techniques first compile them.
    static void appendTo(const EffectModel& model, GLSLEffectPass::Parameters& parameters);
};
