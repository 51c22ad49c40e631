float Script : STANDARDSGLOBAL < string Script = "Technique=Technique?Main;"; >;
texture Scene : RENDERCOLORTARGET;
int Repeats = 2;
technique Main < string Script =
    "LoopByCount=Repeats;"
    "Pass=Blur;"
    "LoopEnd=; Pass = Show ; ScriptExternal=color;"; >
{
    pass Blur < string Script = "RenderColorTarget0=Scene; Clear=Color;"
        "Draw=Buffer;Custom=kept"; > { }
    pass Show < string Script = " renderColorTarget = ;  DRAW=geometry; ;"; > { }
}
