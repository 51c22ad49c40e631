
technique TwoPass
{
    pass Prepare < string Script = "RenderColorTarget = Scratch; Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE prepare();
    }
    pass Finish < string Script = "RenderColorTarget0=; Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE finish();
    }
}
