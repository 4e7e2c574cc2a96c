// Everything a host needs: every public header of the library.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/DateTime.h>
#include <zsff/FileAccess.h>
#include <zsff/LocalFileAccess.h>
#include <zsff/MarkerId.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/RecordId.h>
#include <zsff/SignalTypes.h>
#include <zsff/TextConversion.h>
#include <zsff/TmpRecordFile.h>
