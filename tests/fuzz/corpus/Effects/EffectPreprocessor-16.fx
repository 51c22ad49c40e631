float inPart;
#line 100
float renumbered;
