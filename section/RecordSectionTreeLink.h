// The tree's side of the section's entry points (see RecordSectionTree.h). Only
// the tree module includes this header, once, and calls CRecordSection::LinkTrees
// before it makes a section: the section module itself then never refers to the
// tree's functions, and links without it.
#pragma once

#include <zsff/RecordSection.h>
#include <zsff/RecordSignalTree.h>

#include <mutex>

#include "section/RecordSectionTree.h"

namespace zsff {

inline void CRecordSection::LinkTrees() {
  // Members of the section, so that they reach what the tree keeps for its
  // sections alone.
  static const SectionTreeCalls calls{
      [](CRecordSignalTree& tree, const CRecordId& id, CRecordSignalTree::ChangeAction_t action,
         const CRecordSignalTree::CChangeActionParam_t* param) {
        tree.ChangeState(id, action, param);
      },
      [](CRecordSignalTree& tree, const CRecordId& id, CRecordSignalTree::ChangeAction_t action) {
        std::lock_guard<CCriticalSectionWrapper> guard(CRecordSignalTree::m_cs);
        if (tree.m_ChangeStateCallBack != nullptr) {
          tree.m_ChangeStateCallBack->OnChangeState(id, tree.m_LastRecordHandle, action, nullptr);
        }
      },
      [](CRecordSignalTree& tree, MetaDataFileLock::Mode mode) {
        return tree.CreateMetaDataLock(mode);
      },
      [](const CRecordSignalTree& tree) { return tree.m_RecordCounter; },
      [](const CRecordSignalTree& tree, MetaDataContainer& out) {
        return tree.LoadMetaDataMeasurement(out);
      },
      [](const CRecordSignalTree& tree, const CRecordId& id) {
        return tree.IsRecording(id, false);
      },
      [](const CRecordSignalTree& tree, std::vector<MetaDataRecord>& records) {
        return tree.GetRecordsVect(records);
      }};
  SetSectionTreeCalls(&calls);
}

}  // namespace zsff
