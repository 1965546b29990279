// Handlers of the built-in commands.
//
// A handler receives the text after the command's word, never null, without white space at either
// end. It returns 0 for "not recognised" and 1 for everything else, a user's error included.
#pragma once

int helpCommand(const char* argument);  // command.cpp

int coverageCommand(const char* argument);  // coverage.cpp

int cliCommand(const char* argument);  // loop.cpp
int continueCommand(const char* argument);
int stepCommand(const char* argument);
int exitCommand(const char* argument);
int clearsimCommand(const char* argument);

int loadtCommand(const char* argument);  // script.cpp

int logCommand(const char* argument);  // log.cpp

int readmemhCommand(const char* argument);  // readmem.cpp
int readmembCommand(const char* argument);
int writememhCommand(const char* argument);

int lsCommand(const char* argument);  // listing.cpp
int lstofileCommand(const char* argument);
int wiredCommand(const char* argument);

int signatureCommand(const char* argument);  // signature.cpp

int breakCommand(const char* argument);  // breaks.cpp

int setCommand(const char* argument);  // set.cpp

int setvvCommand(const char* argument);  // setvv.cpp

int traceCommand(const char* argument);  // tracecmds.cpp
int untraceCommand(const char* argument);
int showCommand(const char* argument);
int unshowCommand(const char* argument);
int savetCommand(const char* argument);
int tracetoCommand(const char* argument);
int tracecloseCommand(const char* argument);
int saveCommand(const char* argument);
int circularCommand(const char* argument);
