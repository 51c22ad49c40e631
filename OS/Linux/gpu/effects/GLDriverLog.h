#pragma once

#include <epoxy/gl.h>

#include <string>

// What the OpenGL driver said about a shader it compiled or a program it
// linked, without the terminator. Needs the object's context current.
class GLDriverLog
{
public:
    static std::string ofShader(GLuint shader);
    static std::string ofProgram(GLuint program);
};
