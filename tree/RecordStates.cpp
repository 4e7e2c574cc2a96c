// What the process knows of the records in use (see RecordStates.h).
#include "tree/RecordStates.h"

#include <zsff/MetaDataRecord.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "tree/RecordKeys.h"

namespace zsff {

CRecordStates::StateMap CRecordStates::s_States;

namespace {

// The entries of one base lie together in the map: every key from base << 32 up
// to the next base.
template <typename Map, typename Visit>
void ForEachOfBase(Map& states, unsigned int base, Visit visit) {
  const CRecordId first(static_cast<unsigned long long>(base) << 32);
  for (auto it = states.lower_bound(first); it != states.end() && it->first.RecordBase() == base;
       ++it)
    visit(it->second);
}

}  // namespace

bool CRecordStates::SetRecordBase(long base) {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  const unsigned int wanted = static_cast<unsigned int>(base);
  if (s_States.count(CRecordId(wanted, 1)) != 0) return false;
  m_Tree.m_RecordBase.SetRecordBase(wanted);
  return true;
}

bool CRecordStates::IsRecording(bool fromMetadata) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  bool recording = false;
  if (fromMetadata) {
    std::vector<MetaDataRecord> records;
    m_Tree.GetRecordsVect(records);
    for (const MetaDataRecord& entry : records) recording = recording || entry.Recording();
  } else {
    ForEachOfBase(s_States, m_Tree.m_RecordBase.RecordBase(),
                  [&](const CRecordSignalTree::RecordState_t& state) {
                    recording = recording || state.Recording;
                  });
  }
  return recording;
}

bool CRecordStates::IsRecording(const CRecordId& id, bool fromMetadata) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  bool recording = false;
  if (fromMetadata) {
    // An id with a part number matches no entry: the entries are compared whole.
    std::vector<MetaDataRecord> records;
    m_Tree.GetRecordsVect(records);
    for (const MetaDataRecord& entry : records)
      recording =
          recording || (entry.Recording() && tree::WithoutPart(CRecordId(entry.RecordId())) == id);
  } else if (id.RecordNumber() == 0) {
    ForEachOfBase(s_States, id.RecordBase(),
                  [&](const CRecordSignalTree::RecordState_t& state) {
                    recording = recording || state.Recording;
                  });
  } else {
    auto state = s_States.find(tree::WithoutPart(id));
    recording =
        state != s_States.end() && state->second.Recording;
  }
  return recording;
}

bool CRecordStates::IsReading() const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  bool reading = false;
  ForEachOfBase(
      s_States, m_Tree.m_RecordBase.RecordBase(),
      [&](const CRecordSignalTree::RecordState_t& state) { reading = reading || state.Reading; });
  return reading;
}

bool CRecordStates::IsReading(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  bool reading = false;
  if (id.RecordNumber() == 0) {
    ForEachOfBase(
        s_States, id.RecordBase(),
        [&](const CRecordSignalTree::RecordState_t& state) { reading = reading || state.Reading; });
  } else {
    auto state = s_States.find(tree::WithoutPart(id));
    reading = state != s_States.end() && state->second.Reading;
  }
  return reading;
}

bool CRecordStates::IsUsed() const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  bool used = false;
  ForEachOfBase(s_States, m_Tree.m_RecordBase.RecordBase(),
                [&](const CRecordSignalTree::RecordState_t&) { used = true; });
  return used;
}

bool CRecordStates::IsUsed(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  return s_States.count(tree::WithoutPart(id)) != 0;
}

unsigned long long CRecordStates::RecordNumber(const CRecordId& id) const {
  std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
  if (id.RecordNumber() != 0) {
    auto state = s_States.find(tree::WithoutPart(id));
    return state == s_States.end() ? 0
                                                                       : state->second.RecordNumber;
  }
  unsigned long long largest = 0;
  ForEachOfBase(s_States, id.RecordBase(),
                [&](const CRecordSignalTree::RecordState_t& state) {
                  largest = std::max(largest, state.RecordNumber);
                });
  return largest;
}

CRecordSignalTree::RecordState_t* CRecordStates::Find(const CRecordId& key) {
  const auto found = s_States.find(key);
  return found != s_States.end() ? &found->second : nullptr;
}

CRecordSignalTree::RecordState_t& CRecordStates::Open(const CRecordId& key) {
  const auto entry = s_States.emplace(key, CRecordSignalTree::RecordState_t{false, false, 0, 0});
  ++entry.first->second.UseCount;
  return entry.first->second;
}

void CRecordStates::Release(const CRecordId& key) {
  const auto found = s_States.find(key);
  if (found != s_States.end() && --found->second.UseCount <= 0) s_States.erase(found);
}

void CRecordStates::Forget(const CRecordId& key) { s_States.erase(key); }

}  // namespace zsff
