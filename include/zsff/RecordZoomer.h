// One channel drawn across every record of a measurement: the display's view of
// a span of seconds in at most N (min, max) points. The records stand end to end
// on one continuous time axis (pauses between them don't show), each answers its
// share of the span through its section's compressed request, and the shares are
// joined and, when their rounding gives too many, reduced to the points asked for.
// A record still being recorded is as long as the request needs: what it hasn't
// recorded yet comes back as NaN pairs. A bounded recording (a ring) shows a window
// that holds still, per display context, until the host resets that context.
//
// Ownership: the tree is borrowed and must outlive the zoomer, or be let go first
// with Clean(true). The zoomer opens every record of the tree once and keeps the
// sections open between requests: a zoom never reopens files. The destructor
// closes them again.
//
// Threads: one thread at a time per zoomer, except ResetZoomContext, which may be
// called from another thread while a request runs. Failures are reported by false
// and by a line to the diagnostic sink; nothing throws but std failures.
#pragma once

#include <zsff/ChannelId.h>
#include <zsff/RecordSignalTree.h>

#include <map>
#include <string>
#include <vector>
#include <zsff/Export.h>

namespace zsff {

class CAbstractRecordSection;

class ZSFF_API CRecordZoomer {
 public:
  // One record of the tree, in tree order, and its share of the current request.
  struct RecordInfo_t {
    std::u16string Name;                   // IdToRecordName of the record
    int Handle = 0;                        // the section's handle in the tree
    double Start = 0.0;                    // seconds on the zoomer's axis
    double End = 0.0;                      // Start plus the duration taken at binding
    double RequestStart = 0.0;             // the current request, inside the record
    double RequestStop = 0.0;              //   (seconds from the record's start)
    double Duration = 0.0;                 // seconds; a running last record's is overwritten
    unsigned long long RequestPoints = 0;  // points asked of this record
  };

  CRecordZoomer() = default;
  // Copies the structures: the copy borrows the same tree and holds the same
  // handles (each copy closes them when it goes), with a lock of its own.
  CRecordZoomer(const CRecordZoomer& other);
  CRecordZoomer& operator=(const CRecordZoomer& other);
  // Closes the records, as Clean(false) does.
  virtual ~CRecordZoomer();

  // Binds `tree` and opens all its records for reading, laying them end to end on
  // the axis. Records bound before are closed first. False for a null tree, an
  // unreadable or empty record list, a record that won't open or one whose length
  // isn't above 0; the records bound up to there stay open. `channel` serves to
  // measure a record being recorded.
  bool Init(CRecordSignalTree* tree, const CChannelID& channel);

  // At most `points` (min, max) pairs of `channel` for [start, stop] seconds on the
  // axis, into `output` as 32-bit floats in the post-analysis scaling, min first.
  // Rebinds (Init) only when the tree's count of records or its recording state has
  // changed. A span past the end of the last finished record gives a shorter output;
  // a record being recorded pads what it lacks with NaN pairs at the end, and with
  // zero pairs before its retained signal. With `sliding`, a ring shows its visible
  // window; `context` keeps that window's offset from one request to the next (0
  // keeps none). False, with a diagnostic line, when no tree is bound,
  // nothing is bound, or a record's request fails; `output` then holds what was
  // joined so far.
  bool GetCompressedSignal(const CChannelID& channel, float start, float stop,
                           unsigned long long points, bool sliding, unsigned int context,
                           std::vector<float>& output);

  // Forgets the window offset of `context`, so that its next request takes the
  // ring's current window. Safe from any thread.
  void ResetZoomContext(unsigned int context);

  // Closes every bound record and forgets them; `forgetTree` also lets the tree go.
  void Clean(bool forgetTree);

  const std::vector<RecordInfo_t>& VectRecordInfo() const { return m_VectRecordInfo; }
  // Whether the tree was recording when the records were last bound.
  bool WasRunning() const { return m_WasRunning; }

 private:
  // Opens the `records` the tree listed (`listed` false when it couldn't) into
  // the empty table, as Init does.
  bool Bind(bool listed, const std::vector<MetaDataRecord>& records, const CChannelID& channel);
  // The request to one record: [start, stop] seconds counted from the record's
  // start, in `points` points, with the padding of a record being recorded when
  // the request's look at the tree found one `recording`.
  bool CompressSignal(CAbstractRecordSection& section, const CChannelID& channel, float start,
                      float stop, unsigned long long points, bool sliding, unsigned int context,
                      bool recording, std::vector<float>& output);
  // Closes the bound records and empties the table; the tree stays.
  void CloseRecords();

  CRecordSignalTree* m_Tree = nullptr;  // borrowed
  std::vector<RecordInfo_t> m_VectRecordInfo;
  unsigned long long m_RecordCount = 0;  // records the tree listed at binding
  bool m_WasRunning = false;
  std::map<unsigned int, float> m_ZoomContexts;        // window offset of each display context
  mutable CCriticalSectionWrapper m_ZoomContextsLock;  // guards m_ZoomContexts only
};

}  // namespace zsff
