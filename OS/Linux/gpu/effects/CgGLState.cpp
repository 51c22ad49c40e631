#include "CgGLState.h"

#include <map>
#include <vector>

namespace {

// "a.b[2].c" as its parts: "a", "b", "[2]", "c".
std::vector<std::string> partsOf(const std::string& path)
{
    std::vector<std::string> parts;
    std::string part;
    for (const char c : path) {
        if (c == '.' || c == '[') {
            if (!part.empty())
                parts.push_back(part);
            part.assign(c == '[' ? 1 : 0, '[');
        } else if (c == ']') {
            parts.push_back(part + "]");
            part.clear();
        } else {
            part += c;
        }
    }
    if (!part.empty())
        parts.push_back(part);
    return parts;
}

bool isIndex(const std::string& part)
{
    return part.size() > 2 && part.front() == '[' && part.back() == ']' &&
           part.find_first_not_of("0123456789", 1) == part.size() - 1;
}

CgGLState::Binding matrix(std::vector<std::string> parts)
{
    static const std::map<std::string, std::string> matrices = {
        {"mvp", "gl_ModelViewProjectionMatrix"}, {"modelview", "gl_ModelViewMatrix"},
        {"projection", "gl_ProjectionMatrix"}, {"texture", "gl_TextureMatrix"}};
    static const std::map<std::string, std::string> modifiers = {
        {"inverse", "Inverse"}, {"transpose", "Transpose"}, {"invtrans", "InverseTranspose"}};
    // The modifier stands before the matrix in glstate and after it in state.
    std::string modifier;
    if (!parts.empty() && modifiers.count(parts.front())) {
        modifier = modifiers.at(parts.front());
        parts.erase(parts.begin());
    } else if (!parts.empty() && modifiers.count(parts.back())) {
        modifier = modifiers.at(parts.back());
        parts.pop_back();
    }
    if (parts.empty() || parts.size() > 2 || !matrices.count(parts[0]) || (parts.size() == 2 && !isIndex(parts[1])))
        return {};
    // Texture and modelview matrices are arrays; an index on the others picks a row.
    const bool array = parts[0] == "texture" || parts[0] == "modelview";
    const std::string index = parts.size() == 2 ? parts[1] : "[0]";
    if (parts.size() == 2 && !array)
        return {};
    if (parts[0] == "texture")
        return {"float4x4", "transpose(gl_TextureMatrix" + modifier + index + ")"};
    // The fixed-function stage has one modelview matrix.
    if (index != "[0]")
        return {};
    return {"float4x4", "transpose(" + matrices.at(parts[0]) + modifier + ")"};
}

} // namespace

CgGLState::Binding CgGLState::of(const std::string& path)
{
    const std::vector<std::string> parts = partsOf(path);
    if (parts.empty())
        return {};
    if (parts[0] == "matrix")
        return matrix(std::vector<std::string>(parts.begin() + 1, parts.end()));
    static const std::map<std::string, std::string> lightFields = {
        {"ambient", "ambient"}, {"diffuse", "diffuse"}, {"specular", "specular"}, {"position", "position"},
        {"half", "halfVector"}};
    if (parts[0] == "light" && parts.size() == 3 && isIndex(parts[1]) && lightFields.count(parts[2]))
        return {"float4", "gl_LightSource" + parts[1] + "." + lightFields.at(parts[2])};
    static const std::map<std::string, std::string> materialFields = {
        {"ambient", "ambient"}, {"diffuse", "diffuse"}, {"specular", "specular"}, {"emission", "emission"}};
    if (parts[0] == "material" && parts.size() == 2 && materialFields.count(parts[1]))
        return {"float4", "gl_FrontMaterial." + materialFields.at(parts[1])};
    if (parts[0] == "material" && parts.size() == 2 && parts[1] == "shininess")
        return {"float", "gl_FrontMaterial.shininess"};
    if (path == "fog.color")
        return {"float4", "gl_Fog.color"};
    if (path == "lightmodel.ambient")
        return {"float4", "gl_LightModel.ambient"};
    if (parts[0] == "clip" && parts.size() == 3 && isIndex(parts[1]) && parts[2] == "plane")
        return {"float4", "gl_ClipPlane" + parts[1]};
    return {};
}
