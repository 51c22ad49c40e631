
technique Main < string Script = "RenderColorTarget0=; LoopByCount=Repeats; Pass=Prepare; LoopEnd=;"
                                 "Pass=Finish; ScriptExternal=color;"; >
{
    pass Prepare < string Script = "RenderColorTarget0=Scratch;ClearSetColor=ClearColour;Clear=Color;Draw=Buffer;"; >
    {
        PixelShader = compile PROFILE prepare();
    }
    pass Finish < string Script = "RenderColorTarget = ; Draw = Buffer;"; >
    {
        PixelShader = compile PROFILE finish();
    }
}
