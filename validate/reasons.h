// Why nets are not compared, or only in name.
#pragma once

#include <string>

class Printout;
struct QkName;
struct QkVCDModel;
struct QkVCDName;

/// @return why a name of either side has no partner on the other
std::string whyNotLinked(const QkVCDModel& vcdModel, const QkName* live);
std::string whyNotLinked(const QkVCDName& name);

/// Lists nets that a summary counts, but about which the comparison proves little.
void summariseDoubts(const QkVCDModel& vcdModel, Printout& out);
