// Sub-commands of the zarn2d command-line tool.
#pragma once

/// `zarn2d check SEGMENTFILE ...`: lists the illegal segments of a segment set. argv[0] is "check".
int runCheckCommand(int argc, char** argv);

/// `zarn2d mesh INPUT ...`: quality mesh of the inside of a .poly or segment file. argv[0] is "mesh".
int runMeshCommand(int argc, char** argv);
/// `zarn2d cut MESH SEGMENTFILE ...`: imports a mesh and cuts a zone out of it. argv[0] is "cut".
int runCutCommand(int argc, char** argv);
