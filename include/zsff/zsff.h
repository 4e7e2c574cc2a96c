// Everything a host needs: every public header of the library.
#pragma once

#include <zsff/FileAccess.h>
#include <zsff/LocalFileAccess.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/SignalTypes.h>
#include <zsff/TmpRecordFile.h>
