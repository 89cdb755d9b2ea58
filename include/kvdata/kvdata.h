/* kvdata: the whole exported C interface. Include this, or the one family
 * header a program needs. */
#ifndef KVDATA_KVDATA_H
#define KVDATA_KVDATA_H

#include "kv_export.h"
#include "kvhost.h"
#include "dba.h"
#include "kvlockdb.h"
#include "nummern.h"
#include "avl.h"
#include "bavl.h"
#include "bbaumlib.h"
#include "artlib.h"
#include "bezlib.h"
#include "teilezusatz.h"
#include "eanteile.h"
#include "database.h"
#include "eandata.h"
#include "kundendba.h"
#include "auftragdba.h"
#include "rechnungdba.h"

#endif /* KVDATA_KVDATA_H */
