// main(), for programs that have none of their own. It is alone in its file: an archive's member is
// linked for any function in it, and those of the standard library may be in every other one.
#include "qkvl_engine.h"

int main(int argc, char** argv) { return qkvlMain(argc, argv); }
