#include "EffectsTour.h"

#include "OS.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
    const XY<int> kPicture(300, 170);
    const XY<int> kSheet(960, 400);

    // Two looks for one picture, in one effect file.
    const char kLooksEffect[] = R"(texture Input;
sampler2D InputSampler = sampler_state { Texture = <Input>; AddressU = Clamp; AddressV = Clamp; };
float Strength < string UIName = "Strength"; float UIMin = 0; float UIMax = 1; > = 1.0;
float4 sepia(float2 uv : TEXCOORD1) : COLOR
{
    float4 colour = tex2D(InputSampler, uv);
    float grey = dot(colour.rgb, float3(0.299, 0.587, 0.114));
    return float4(lerp(colour.rgb, grey * float3(1.07, 0.74, 0.43), Strength), 1.0);
}
float4 cold(float2 uv : TEXCOORD1) : COLOR
{
    float4 colour = tex2D(InputSampler, uv);
    return float4(colour.r * 0.6, colour.g * 0.9, saturate(colour.b * 1.3 + 0.1), 1.0);
}
technique Sepia { pass Only { PixelShader = compile PROFILE sepia(); } }
technique Cold { pass Only { PixelShader = compile PROFILE cold(); } }
)";

    NormalisedRGB rgb(int red, int green, int blue) { return NormalisedRGB(red / 255.0f, green / 255.0f, blue / 255.0f); }

    // A small scene: sky, sun, hills and a caption.
    Kv::Ptr<iHostImage> makePicture()
    {
        const Kv::Ptr<iHostImage> picture = OS()->mediaServices()->createHostSurface(kPicture);
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = picture->getPrimitivesRenderer(false);
        RectDescription sky;
        sky.rect = {0, 0, kPicture.x, kPicture.y};
        sky.colour = rgb(90, 160, 230);
        renderer->renderMulti(&sky, 1);
        EllipseDescription shapes[3];
        const Kv::Rectangle<int> areas[] = {{200, 20, 260, 80}, {-60, 90, 200, 260}, {120, 110, 400, 280}};
        const NormalisedRGB colours[] = {rgb(250, 210, 60), rgb(60, 150, 70), rgb(40, 110, 60)};
        for (int index = 0; index < 3; ++index) {
            shapes[index].rect = areas[index];
            shapes[index].fill = colours[index];
            shapes[index].endAngle = 360;
        }
        renderer->renderMulti(shapes, 3);
        const TextDescription caption(L"Scene 12, take 3", XY<int>(12, 28), rgb(255, 255, 255), TextAlignment(),
                                      OS()->mediaServices()->createHostSurfaceFont(L"DejaVu Sans", 24, 0));
        renderer->renderMulti(&caption, 1);
        return picture;
    }

    iShaderEffect::Source wholeImage(const Kv::Ptr<iGPUImage>& image)
    {
        iShaderEffect::Source source("Input", image);
        source.texCoords[1] = {1, 0};
        source.texCoords[2] = {0, 1};
        source.texCoords[3] = {1, 1};
        return source;
    }

    // The effect file's techniques, one image each; none when it does not compile.
    std::vector<Kv::Ptr<iGPUImage>> looks(const Kv::Ptr<iGPUImage>& picture)
    {
        char folder[] = "/tmp/kvdemo-fx-XXXXXX";
        if (!mkdtemp(folder))
            return {};
        const std::string path = std::string(folder) + "/Looks.fx";
        std::ofstream(path) << kLooksEffect;
        iMediaServices* media = OS()->mediaServices();
        const ShaderCompilationOutput compiled = media->compileFXFile(OS()->utils()->fromUTF8(path.c_str(), -1), {});
        unlink(path.c_str());
        rmdir(folder);
        for (const ShaderCompilationOutput::Error& error : compiled.errors)
            std::printf("kvdemo: Looks.fx: %s\n", error.message.c_str());
        std::vector<Kv::Ptr<iGPUImage>> images;
        for (const char* technique : {"Sepia", "Cold"})
            if (compiled.effect && compiled.effect->setTechnique(technique))
                images.push_back(compiled.effect->render(kPicture, {wholeImage(picture)}, iGPUImage::eBGRA8));
        return images;
    }

    // The picture turned in perspective, with a small square on each corner
    // where the projection says it lands.
    Kv::Ptr<iGPUImage> inPerspective(const Kv::Ptr<iGPUImage>& picture)
    {
        iMediaServices* media = OS()->mediaServices();
        const Kv::Ptr<iGPUImage> frame = media->createGPUSurface(kPicture, iGPUImage::eBGRA8);
        const Kv::Ptr<iGraphicPrimitivesRenderer> clear = frame->getPrimitivesRenderer(false);
        RectDescription background;
        background.rect = {0, 0, kPicture.x, kPicture.y};
        background.colour = rgb(30, 30, 36);
        clear->renderMulti(&background, 1);

        Polygon3D quad; // corners in strip order: top left, top right, bottom left, bottom right
        quad.textures.push_back(picture);
        for (int corner = 0; corner < 4; ++corner)
            quad.vertices[corner] = {NormalisedRGB(1, 1, 1),
                                     {corner % 2 ? 0.9f : -0.9f, corner < 2 ? 0.9f : -0.9f, 0},
                                     {float(corner % 2), float(corner / 2)}};
        const Kv::Ptr<i3DEffect> effect = media->create3DEffect();
        const XYZ<float> translation{0.05f, 0, 0.2f};
        const XYZ<float> rotation{0.35f, -0.5f, 0.1f}; // radians
        effect->render(frame, {quad}, translation, rotation, float(kPicture.x) / float(kPicture.y));

        std::vector<RectDescription> marks;
        for (const Polygon3D::Vertex& vertex : quad.vertices) {
            // The view mirrors x and y: a corner lands where (-x, -y, z) projects.
            const XY<float> at = effect->projectPoint({-vertex.position.x, -vertex.position.y, vertex.position.z},
                                                      translation, rotation, kPicture.x, kPicture.y);
            RectDescription mark;
            mark.rect = {int(at.x) - 3, int(at.y) - 3, int(at.x) + 4, int(at.y) + 4};
            mark.colour = rgb(240, 60, 40);
            marks.push_back(mark);
        }
        clear->renderMulti(marks.data(), unsigned(marks.size()));
        return frame;
    }

    // The picture's colours posterised to four levels a channel by a kernel on
    // the compute device: host image in, host image out. Null without OpenCL.
    Kv::Ptr<iHostImage> posterised(const Kv::Ptr<iHostImage>& picture)
    {
        iMediaServices* media = OS()->mediaServices();
        const Kv::Ptr<iOpenCLContext> compute =
            Kv::dynamicCast<iOpenCLContext>(media->createGPUComputeContext(iGPUComputeContext::eOpenCL));
        if (!compute)
            return nullptr;
        const Kv::Ptr<iGPUProgram> program = compute->compileProgram({
            "__kernel void posterise(__global uchar4* pixels, short width, short height, short rowPixels)",
            "{",
            "    const int x = get_global_id(0), y = get_global_id(1);",
            "    if (x >= width || y >= height)", // whole work groups run past the edges
            "        return;",
            "    __global uchar4* pixel = pixels + y * rowPixels + x;",
            "    *pixel = (uchar4)(((*pixel).xyz / (uchar3)(64)) * (uchar3)(85), (*pixel).w);",
            "}",
        });
        const Kv::Ptr<iGPUProgramKernel> kernel = program ? program->getKernel("posterise") : nullptr;
        if (!kernel)
            return nullptr;
        const XY<int> size = picture->getSize();
        const Kv::Ptr<iPixelGuard> in = picture->lock();
        const unsigned int bytes = in->getStride() * unsigned(size.y);
        cl_mem pixels = clCreateBuffer(compute->getImpl(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR, bytes,
                                       in->getPixels(), nullptr);
        if (!pixels)
            return nullptr;
        kernel->setArgs(0, &pixels, sizeof pixels);
        kernel->setArg(1, static_cast<short>(size.x));
        kernel->setArg(2, static_cast<short>(size.y));
        kernel->setArg(3, static_cast<short>(in->getStride() / 4));
        kernel->execute2D(unsigned(size.x), unsigned(size.y));
        const Kv::Ptr<iHostImage> result = media->createHostSurface(size);
        kernel->kernel_gpu2host(pixels, result->lock()->getPixels(), bytes); // waits for the kernel
        clReleaseMemObject(pixels);
        return result;
    }
}

void effectsTour()
{
    iMediaServices* media = OS()->mediaServices();
    const Kv::Ptr<iHostImage> hostPicture = makePicture();
    const Kv::Ptr<iGPUImage> picture = media->copyToGPU(hostPicture);
    const Kv::Ptr<iGPUImage> sheet = media->createGPUSurface(kSheet, iGPUImage::eBGRA8);
    if (dynamic_cast<iOpenGLTexture&>(*sheet).getTextureID() == 0) {
        std::printf("\nkvdemo: no OpenGL here, so no effects sheet\n");
        return;
    }
    std::vector<Kv::Ptr<iGPUImage>> tiles{picture};
    const std::vector<Kv::Ptr<iGPUImage>> looked = looks(picture);
    tiles.insert(tiles.end(), looked.begin(), looked.end());
    tiles.push_back(inPerspective(picture));
    const Kv::Ptr<iHostImage> computed = posterised(hostPicture);
    if (computed)
        tiles.push_back(media->copyToGPU(computed));
    {
        const Kv::Ptr<iGraphicPrimitivesRenderer> renderer = sheet->getPrimitivesRenderer(false);
        RectDescription background;
        background.rect = {0, 0, kSheet.x, kSheet.y};
        background.colour = rgb(245, 243, 238);
        renderer->renderMulti(&background, 1);
        std::vector<ImageDescription> images;
        for (std::size_t index = 0; index < tiles.size(); ++index)
            images.emplace_back(Kv::Ptr<iImageBase>(tiles[index]),
                                XY<int>(15 + int(index % 3) * (kPicture.x + 15), 15 + int(index / 3) * (kPicture.y + 15)),
                                Kv::Rectangle<int>{0, 0, kPicture.x, kPicture.y}, false);
        renderer->renderMulti(images.data(), unsigned(images.size()));
    }
    const bool saved = OS()->imageManager()->saveImage(media->copyToHost(sheet), L"kvdemo-fx.png", 0);
    std::printf("\nkvdemo: a picture through an effect file's %zu techniques, turned in 3D with its corners "
                "projected and %s; %s\n",
                looked.size(), computed ? "posterised by a kernel" : "with no OpenCL for a kernel",
                saved ? "saved kvdemo-fx.png" : "could not save kvdemo-fx.png");
}
