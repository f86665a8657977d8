// os_cosservices.h: starting and stopping the services layer as one unit.
// (Declarations land with the services runtime.)
#ifndef OS_COSSERVICES_H
#define OS_COSSERVICES_H

#include "os_types.h"

#endif  // OS_COSSERVICES_H
