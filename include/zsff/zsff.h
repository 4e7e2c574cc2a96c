// Everything a host needs: every public header of the library.
#pragma once

#include <zsff/AnalyzerInfo.h>
#include <zsff/ChannelId.h>
#include <zsff/ChannelMetaData.h>
#include <zsff/CompressedSignal.h>
#include <zsff/DateTime.h>
#include <zsff/FileAccess.h>
#include <zsff/LocalFileAccess.h>
#include <zsff/MarkerId.h>
#include <zsff/MeasurementMetaData.h>
#include <zsff/MetaDataAnalyzer.h>
#include <zsff/MetaDataContainer.h>
#include <zsff/MetaDataContainerJson.h>
#include <zsff/MetaDataFileLock.h>
#include <zsff/MetaDataFiles.h>
#include <zsff/MetaDataMarker.h>
#include <zsff/MetaDataQuantity.h>
#include <zsff/MetaDataRecord.h>
#include <zsff/MetaDataValue.h>
#include <zsff/PostAnalysisSettings.h>
#include <zsff/PropertyValue.h>
#include <zsff/RecordId.h>
#include <zsff/SignalFile.h>
#include <zsff/SignalTypes.h>
#include <zsff/TextConversion.h>
#include <zsff/TmpRecordFile.h>
