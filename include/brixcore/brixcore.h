/* brixcore.h - everything a host needs. */
#ifndef BRIXCORE_BRIXCORE_H_
#define BRIXCORE_BRIXCORE_H_

#include "brixcore/archive.h"
#include "brixcore/byname.h"
#include "brixcore/catalogue.h"
#include "brixcore/session.h"
#include "brixcore/status.h"
#include "brixcore/stream.h"
#include "brixcore/toolkit.h"

#endif /* BRIXCORE_BRIXCORE_H_ */
