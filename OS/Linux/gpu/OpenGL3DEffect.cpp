#include "OpenGL3DEffect.h"

#include "GL1Renderer.h"
#include "GPUImage.h"
#include "Matrix4x4.h"
#include "OpenGLUtils.h"

#include <epoxy/gl.h>

#include <GL/glu.h>

#include <limits>
#include <vector>

namespace
{
    // At this distance a square from -1 to 1 fills a view of 45 degrees.
    constexpr double kEyeDistance = 2.4142134189605713;
    constexpr float kRadiansToDegrees = 57.2958f;

    // The camera that render sets up in OpenGL, as matrices for GLU's
    // projections over a viewport of the given size.
    class Camera
    {
    public:
        Camera(const XYZ<float>& translation, const XYZ<float>& rotation, float aspect, int width, int height)
            : projection_{{2.4142134877530865 / aspect, 0, 0, 0, 0, 2.4142134877530865, 0, 0, 0, 0,
                           -1.0020020008087158, -1, 0, 0, -0.20020020008087158, 0}},
              modelView_{{-1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -1, 0, 0, 0, -kEyeDistance, 1}}, viewport_{0, 0, width, height}
        {
            modelView_.translate(-translation.x, -translation.y, translation.z);
            modelView_.rotateX(-rotation.x);
            modelView_.rotateY(-rotation.y);
            modelView_.rotateZ(rotation.z);
        }

        // The window's x and y. A point GLU cannot project gives (0, 0).
        XY<double> project(const XYZ<float>& point) const
        {
            const XYZ<double> window = transform(gluProject, XYZ<double>{point.x, point.y, point.z});
            return XY<double>(window.x, window.y);
        }

        // Along the ray from the near plane to the far one, as far as the
        // point's depth is from the eye: the rays start on the eye's axis, so
        // the near point's offset is left out, deliberately.
        XYZ<float> unProject(const XYZ<float>& point) const
        {
            const XYZ<double> nearPoint = transform(gluUnProject, XYZ<double>{point.x, point.y, 0});
            const XYZ<double> farPoint = transform(gluUnProject, XYZ<double>{point.x, point.y, 1});
            const float t = float((point.z + kEyeDistance) / (kEyeDistance + farPoint.z));
            return {float(-(t * (farPoint.x - nearPoint.x))), float(-(t * (farPoint.y - nearPoint.y))), point.z};
        }

    private:
        using Projection = GLint (*)(GLdouble, GLdouble, GLdouble, const GLdouble*, const GLdouble*, const GLint*,
                                     GLdouble*, GLdouble*, GLdouble*);

        // A failed projection, such as of a singular matrix, leaves zeros.
        XYZ<double> transform(Projection projection, const XYZ<double>& point) const
        {
            XYZ<double> result;
            projection(point.x, point.y, point.z, modelView_.elements, projection_.elements, viewport_, &result.x,
                       &result.y, &result.z);
            return result;
        }

        Matrix4x4<double> projection_;
        Matrix4x4<double> modelView_;
        GLint viewport_[4];
    };

    float aspectOf(int width, int height)
    {
        return float(double(width) / double(height));
    }

    // As the processor truncates: a value that no int holds, NaN among them,
    // gives the lowest int.
    float truncated(double value)
    {
        constexpr double kLimit = -double(std::numeric_limits<int>::min());
        return value > -kLimit - 1 && value < kLimit ? float(int(value)) : float(std::numeric_limits<int>::min());
    }

    // The view looks along z from its negative side, which mirrors x: the
    // corners are mirrored back in x and y, and not in z.
    XY<float> mirrored(const XYZ<float>& position)
    {
        return XY<float>(-position.x, -position.y);
    }

    void drawStrip(const Polygon3D& polygon, bool textured)
    {
        glBegin(GL_TRIANGLE_STRIP);
        for (const Polygon3D::Vertex& corner : polygon.vertices) {
            glColor4f(corner.colour.r, corner.colour.g, corner.colour.b, corner.colour.a);
            if (textured)
                glTexCoord2f(corner.texCoord.x, corner.texCoord.y);
            glVertex3f(-corner.position.x, -corner.position.y, corner.position.z);
        }
        glEnd();
    }

    // The corners' depth is lost here: the effect draws in the plane z = 0.
    void drawThroughEffect(const Polygon3D& polygon, iOpenGLShaderEffect& effect)
    {
        std::vector<iShaderEffect::Source> sources;
        for (unsigned int input = 0; input < effect.getNumInputs(); ++input) {
            iShaderEffect::Source source(effect.getInput(input).name, polygon.textures[input]);
            for (unsigned int corner = 0; corner < 4; ++corner)
                source.texCoords[corner] = polygon.vertices[corner].texCoord;
            sources.push_back(source);
        }
        const Polygon3D::Vertex* corners = polygon.vertices;
        effect.renderQuadrilateral(mirrored(corners[0].position), mirrored(corners[1].position),
                                   mirrored(corners[2].position), mirrored(corners[3].position), sources);
    }

    void drawPolygon(const Polygon3D& polygon)
    {
        if (polygon.textures.empty()) {
            drawStrip(polygon, false);
            return;
        }
        const Kv::Ptr<iOpenGLShaderEffect> effect = Kv::dynamicCast<iOpenGLShaderEffect>(polygon.effect);
        if (effect && effect->getNumInputs() == polygon.textures.size()) {
            drawThroughEffect(polygon, *effect);
            return;
        }
        // A texture that is not OpenGL's leaves whatever is bound.
        if (const auto* texture = dynamic_cast<const iOpenGLTexture*>(polygon.textures.front().get()))
            glBindTexture(GL_TEXTURE_2D, texture->getTextureID());
        drawStrip(polygon, true);
    }
}

void OpenGL3DEffect::render(Kv::Ptr<iGPUImage> target, const std::vector<Polygon3D>& polygons,
                            const XYZ<float>& translation, const XYZ<float>& rotation, float aspect) const
{
    const Kv::Ptr<GPUImage> image = Kv::dynamicCast<GPUImage>(target);
    if (!image || !OpenGLUtils::isAvailable())
        return;
    const GL1Renderer renderer(image.get(), OpenGLGraphicPrimitivesRendererBase::eOriginBottomLeft);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    gluPerspective(45, aspect, 0.1, 100);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    // On whatever the model view holds: it is not reset first.
    gluLookAt(0, 0, -kEyeDistance, 0, 0, 0, 0, 1, 0);
    glTranslatef(-translation.x, -translation.y, translation.z);
    glRotatef(rotation.x * -kRadiansToDegrees, 1, 0, 0);
    glRotatef(rotation.y * -kRadiansToDegrees, 0, 1, 0);
    glRotatef(rotation.z * kRadiansToDegrees, 0, 0, 1);
    const XY<int> size = target->getSize();
    glViewport(0, 0, size.x, size.y);
    glActiveTextureARB(GL_TEXTURE0_ARB);
    glTexEnvf(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glEnable(GL_TEXTURE_2D);
    for (const Polygon3D& polygon : polygons)
        drawPolygon(polygon);
    glBindTexture(GL_TEXTURE_2D, 0);
    // Both on the model view stack, deliberately: the renderer's destructor
    // puts the projection back.
    glPopMatrix();
    glPopMatrix();
    glDisable(GL_BLEND);
}

XY<float> OpenGL3DEffect::projectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                       const XYZ<float>& rotation, float aspect) const
{
    const XY<double> window = Camera(translation, rotation, aspect, 1, 1).project(point);
    return XY<float>(float(window.x), float(window.y));
}

XYZ<float> OpenGL3DEffect::unProjectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                          const XYZ<float>& rotation, float aspect) const
{
    return Camera(translation, rotation, aspect, 1, 1).unProject(point);
}

XY<float> OpenGL3DEffect::projectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                       const XYZ<float>& rotation, const int& width, const int& height) const
{
    const XY<double> window = Camera(translation, rotation, aspectOf(width, height), width, height).project(point);
    return XY<float>(truncated(window.x), truncated(window.y));
}

XYZ<float> OpenGL3DEffect::unProjectPoint(const XYZ<float>& point, const XYZ<float>& translation,
                                          const XYZ<float>& rotation, const int& width, const int& height) const
{
    return Camera(translation, rotation, aspectOf(width, height), width, height).unProject(point);
}
