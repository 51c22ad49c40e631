#pragma once

#include <string>

// OpenGL state that Cg code reads by name, as the glstate structure
// ("glstate.matrix.mvp", "glstate.light[0].diffuse") or as a uniform's
// semantic ("state.matrix.modelview[0].invtrans"): the compatibility profile's
// built-in variable that holds it.
class CgGLState
{
public:
    struct Binding
    {
        std::string cgType; // "float4x4", "float4", "float"
        std::string glsl;   // what the GLSL reads; a matrix is transposed, as Cg matrices are kept row by row
    };

    // The path after "glstate." or "state."; an empty binding for anything else.
    static Binding of(const std::string& path);
};
