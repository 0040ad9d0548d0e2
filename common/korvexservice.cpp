#include "common/korvexservice.h"

CKorvexServiceBaseImpl g_KorvexService;
