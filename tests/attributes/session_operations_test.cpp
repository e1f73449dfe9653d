#include <gtest/gtest.h>

#include <cstring>

#include "attributes/attribute.h"
#include "fake_session.h"

namespace keld {
namespace {

using testing::FakeSession;

CameraFileData FileNamed(const char* name) {
  CameraFileData file{};
  std::strcpy(file.FileName, name);
  std::memset(file.Detail, 'd', sizeof file.Detail - 1);
  return file;
}

StringList Strings(std::initializer_list<const char*> texts) {
  StringList list;
  for (const char* text : texts) list.push_back(CFGString(text));
  return list;
}

TEST(SessionLists, CameraFileDataRefreshAndGet) {
  FakeSession session;
  session.preparedCameraFiles.push_back(FileNamed("a.icd"));
  session.preparedCameraFiles.push_back(FileNamed("b.icd"));
  session.preparedCurrent = 1;
  std::uint32_t count = 0;
  std::uint32_t current = 0;
  EXPECT_EQ(session.RefreshCameraFileDataList(nullptr, &current), kBadPointer);
  EXPECT_EQ(session.RefreshCameraFileDataList(&count, nullptr), kBadPointer);
  ASSERT_EQ(session.RefreshCameraFileDataList(&count, &current), kSuccess);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(current, 1U);
  CameraFileData out{};
  ASSERT_EQ(session.GetCameraFileData(1, &out), kSuccess);
  EXPECT_EQ(std::memcmp(&out, &session.preparedCameraFiles[1], sizeof out), 0);
  EXPECT_EQ(session.GetCameraFileData(2, &out), kIndexBeyondRange);
  EXPECT_EQ(session.GetCameraFileData(0, nullptr), kBadPointer);

  session.queryStatus = 0xBFF60001;
  count = 42;
  EXPECT_EQ(session.RefreshCameraFileDataList(&count, &current), 0xBFF60001);
  EXPECT_EQ(count, 42U);
}

TEST(SessionLists, ReferenceCameraFiles) {
  FakeSession session;
  session.preparedStrings = Strings({"x", "y", "z"});
  std::uint32_t count = 0;
  EXPECT_EQ(session.RefreshReferenceCameraFileList(nullptr), kBadPointer);
  ASSERT_EQ(session.RefreshReferenceCameraFileList(&count), kSuccess);
  EXPECT_EQ(count, 3U);
  CFGString name;
  ASSERT_EQ(session.GetReferenceCameraFileName(2, &name), kSuccess);
  EXPECT_STREQ(name.c_str(), "z");
  EXPECT_EQ(session.GetReferenceCameraFileName(3, &name), kIndexBeyondRange);
  session.queryStatus = kNotSupported;
  EXPECT_EQ(session.RefreshReferenceCameraFileList(&count), kNotSupported);
  EXPECT_EQ(count, 3U);
}

TEST(SessionLists, InterfaceFilesAndCameraAttributes) {
  FakeSession session;
  InterfaceFileData file{};
  file.Flag = 1;
  std::strcpy(file.FileName, "if.iid");
  session.preparedInterfaceFiles.push_back(file);
  std::uint32_t count = 0;
  EXPECT_EQ(session.RefreshInterfaceFileDataList(3, nullptr), kBadPointer);
  ASSERT_EQ(session.RefreshInterfaceFileDataList(3, &count), kSuccess);
  EXPECT_EQ(session.lastIndex, 3U);
  EXPECT_EQ(count, 1U);
  InterfaceFileData out{};
  ASSERT_EQ(session.GetInterfaceFileData(0, &out), kSuccess);
  EXPECT_STREQ(out.FileName, "if.iid");
  EXPECT_EQ(session.GetInterfaceFileData(1, &out), kIndexBeyondRange);

  CameraAttribute node{};
  node.Id = 7;
  node.Value = 2.5;
  session.preparedCameraAttributes.push_back(node);
  session.preparedCameraAttributes.push_back(node);
  EXPECT_EQ(session.RefreshCameraAttributeList(nullptr), kBadPointer);
  ASSERT_EQ(session.RefreshCameraAttributeList(&count), kSuccess);
  EXPECT_EQ(count, 2U);
  CameraAttribute nodeOut{};
  ASSERT_EQ(session.GetCameraAttribute(1, &nodeOut), kSuccess);
  EXPECT_EQ(nodeOut.Id, 7U);
  EXPECT_EQ(nodeOut.Value, 2.5);
  EXPECT_EQ(session.GetCameraAttribute(2, &nodeOut), kIndexBeyondRange);
}

TEST(SessionLists, DiagnosticsIndexIsCheckedAgainstBothLists) {
  FakeSession session;
  session.preparedStrings = Strings({"Memory", "DMA"});
  session.preparedResults = Strings({"Pass"});
  std::uint32_t count = 0;
  EXPECT_EQ(session.RunDiagnostics(1, nullptr), kBadPointer);
  ASSERT_EQ(session.RunDiagnostics(5, &count), kSuccess);
  EXPECT_EQ(session.lastIndex, 5U);
  EXPECT_EQ(count, 2U);
  CFGString name;
  CFGString result;
  ASSERT_EQ(session.GetDiagnosticResults(0, &name, &result), kSuccess);
  EXPECT_STREQ(name.c_str(), "Memory");
  EXPECT_STREQ(result.c_str(), "Pass");
  EXPECT_EQ(session.GetDiagnosticResults(1, &name, &result), kIndexBeyondRange);
  EXPECT_EQ(session.GetDiagnosticResults(0, nullptr, &result), kBadPointer);
}

TEST(SessionLists, AcquisitionUnitCameraFiles) {
  FakeSession session;
  session.preparedStrings = Strings({"unit.icd"});
  std::uint32_t count = 0;
  EXPECT_EQ(session.RefreshAcqUnitCameraFileList(nullptr, &count), kBadPointer);
  EXPECT_EQ(session.RefreshAcqUnitCameraFileList("", &count), kBadPointer);
  EXPECT_EQ(session.RefreshAcqUnitCameraFileList("img0", nullptr), kBadPointer);
  ASSERT_EQ(session.RefreshAcqUnitCameraFileList("img0", &count), kSuccess);
  EXPECT_STREQ(session.lastUnit.c_str(), "img0");
  EXPECT_EQ(count, 1U);
  CFGString name;
  ASSERT_EQ(session.GetAcqUnitCameraFileName(0, &name), kSuccess);
  EXPECT_STREQ(name.c_str(), "unit.icd");
  EXPECT_EQ(session.GetAcqUnitCameraFileName(1, &name), kIndexBeyondRange);
}

// Attributes as the network/USB driver's enumeration builds them.
template <typename T>
TypedAttribute<T>* AddAttribute(FakeSession& session, std::uint32_t key, const char* name, bool readable,
                                bool writable) {
  Attribute* attribute = nullptr;
  EXPECT_EQ(CreateAttribute(T::kTag, true, &attribute), kSuccess);
  attribute->SetKey(key);
  EXPECT_EQ(attribute->SetName(name), kSuccess);
  EXPECT_EQ(attribute->SetReadable(readable), kSuccess);
  EXPECT_EQ(attribute->SetWritable(writable), kSuccess);
  attribute->SetDirty(0);
  session.attributes.Insert(attribute);
  return dynamic_cast<TypedAttribute<T>*>(session.attributes.FindByKey(key));
}

template <typename T>
TypedSubAttribute<T>* Component(Attribute* attribute, std::uint32_t key) {
  return dynamic_cast<TypedSubAttribute<T>*>(attribute->FindSubAttribute(key));
}

KELDnvEnumItem_struct Item(std::uint32_t low, std::uint32_t high, const char* name) {
  KELDnvEnumItem_struct item{};
  item.ValueLow = low;
  item.ValueHigh = high;
  std::strcpy(item.Name, name);
  return item;
}

TypedAttribute<AttrEnum>* AddMode(FakeSession& session) {
  auto* mode = AddAttribute<AttrEnum>(session, 20, "Camera::Mode", true, true);
  AttrEnumVector choices;
  choices.items = {Item(1, 0, "Low"), Item(0xFFFFFFFF, 0xFFFFFFFF, "Minus"), Item(0xFFFFFFFF, 0, "Big"),
                   Item(7, 1, "High7")};
  Component<AttrEnumVector>(mode, ComponentKey::EnumItems)->SetValue(choices);
  AttrEnum current;
  current.ValueLow = 1;
  std::strcpy(current.Name, "Low");
  mode->SetValue(current);
  mode->SetDirty(0);
  return mode;
}

TEST(SessionAttributes, InfoListFiltersByVisibilityAndFillsRecords) {
  FakeSession session;
  auto* gain = AddAttribute<AttrU32>(session, 1, "Camera::Gain", true, false);
  ASSERT_EQ(gain->SetVisibility(2), kSuccess);
  ASSERT_EQ(gain->SetTooltip("How much"), kSuccess);
  Component<AttrString>(gain, ComponentKey::Units)->SetValue(AttrString("dB"));
  Component<AttrU32>(gain, ComponentKey::Representation)->SetValue(AttrU32{4});
  Attribute* bare = nullptr;  // no components: no visibility, no name
  ASSERT_EQ(CreateAttribute(AttrU64::kTag, true, &bare), kSuccess);
  bare->SetKey(2);
  session.attributes.Insert(bare);

  NVAttributeInfoList list;
  EXPECT_EQ(session.GetNVAttributesInfo(nullptr, 0), kBadPointer);
  // At the preset and above, the attribute without visibility is listed; the
  // failures of its missing components are the result, and it is appended anyway.
  EXPECT_EQ(session.GetNVAttributesInfo(&list, 0x8000000), kNotSupported);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0].Type, AttrU32::kTag);
  EXPECT_EQ(list[0].Id, 1U);
  EXPECT_EQ(list[0].Readable, 1);
  EXPECT_EQ(list[0].Writable, 0);
  EXPECT_STREQ(list[0].Name, "Camera::Gain");
  EXPECT_STREQ(list[0].Tooltip, "How much");
  EXPECT_STREQ(list[0].Units, "dB");
  EXPECT_EQ(list[0].Representation, 4U);
  EXPECT_EQ(list[1].Type, AttrU64::kTag);
  EXPECT_STREQ(list[1].Name, "");
  EXPECT_EQ(list[1].Representation, 0U);

  ASSERT_EQ(session.GetNVAttributesInfo(&list, 0x7FFFFFF), kSuccess);
  ASSERT_EQ(list.size(), 1U);
  ASSERT_EQ(session.GetNVAttributesInfo(&list, 1), kSuccess);
  EXPECT_TRUE(list.empty());
  // The limit is signed: 0xFFFFFFFF is -1 and leaves out even level 0.
  ASSERT_EQ(gain->SetVisibility(0), kSuccess);
  ASSERT_EQ(session.GetNVAttributesInfo(&list, 0xFFFFFFFF), kSuccess);
  EXPECT_TRUE(list.empty());
  // A negative level passes every non-negative limit.
  ASSERT_EQ(gain->SetVisibility(0x80000000), kSuccess);
  ASSERT_EQ(session.GetNVAttributesInfo(&list, 0), kSuccess);
  EXPECT_EQ(list.size(), 1U);
}

TEST(SessionAttributes, GetValueOfWriteOnlyAttribute) {
  FakeSession session;
  auto* gain = AddAttribute<AttrU32>(session, 1, "Gain", false, true);
  Component<AttrU32>(gain, ComponentKey::Minimum)->SetValue(AttrU32{3});
  std::uint32_t value = 0;
  ASSERT_EQ(session.GetNVAttributeValue(gain, ComponentKey::Minimum, AttrU32::kTag, &value), kSuccess);
  EXPECT_EQ(value, 3U);
  EXPECT_EQ(session.GetNVAttributeValue(gain, ComponentKey::Value, AttrU32::kTag, &value), kNotAccessible);
  EXPECT_EQ(session.GetNVAttributeValue(gain, ComponentKey::EnumItems, AttrU32::kTag, &value), kUnknownComponent);
  EXPECT_EQ(session.GetNVAttributeValue(gain, ComponentKey::Minimum, AttrF64::kTag, &value), kTypeMismatch);
  EXPECT_EQ(session.GetNVAttributeValue(nullptr, 0, 1, &value), kBadPointer);
  EXPECT_EQ(session.GetNVAttributeValue(gain, 2, 1, nullptr), kBadPointer);
}

TEST(SessionAttributes, GetValueConversions) {
  FakeSession session;
  auto* mode = AddMode(session);
  std::uint32_t word = 0;
  ASSERT_EQ(session.GetNVAttributeValue(mode, 0, AttrU32::kTag, &word), kSuccess);
  EXPECT_EQ(word, 1U);
  std::int64_t wide = 0;
  ASSERT_EQ(session.GetNVAttributeValue(mode, 0, AttrI64::kTag, &wide), kSuccess);
  EXPECT_EQ(wide, 1);
  KELDnvEnumItem_struct item{};
  ASSERT_EQ(session.GetNVAttributeValue(mode, 0, AttrEnum::kTag, &item), kSuccess);
  EXPECT_STREQ(item.Name, "Low");
  char name[512] = {};
  ASSERT_EQ(session.GetNVAttributeValue(mode, ComponentKey::Name, AttrString::kTag, name), kSuccess);
  EXPECT_STREQ(name, "Camera::Mode");

  auto* offset = AddAttribute<AttrI64>(session, 21, "Offset", true, true);
  offset->SetValue(AttrI64{-5});
  ASSERT_EQ(session.GetNVAttributeValue(offset, 0, AttrU32::kTag, &word), kSuccess);
  EXPECT_EQ(word, 0xFFFFFFFBU);
  ASSERT_EQ(session.GetNVAttributeValue(offset, 0, AttrI64::kTag, &wide), kSuccess);
  EXPECT_EQ(wide, -5);

  auto* fire = AddAttribute<AttrCommand>(session, 22, "Fire", true, true);
  fire->SetValue(AttrCommand{9});
  std::uint8_t byte = 7;
  ASSERT_EQ(session.GetNVAttributeValue(fire, 0, AttrBool::kTag, &byte), kSuccess);
  EXPECT_EQ(byte, 1);
  ASSERT_EQ(session.GetNVAttributeValue(fire, 0, AttrCommand::kTag, &byte), kSuccess);
  EXPECT_EQ(byte, 1);
  EXPECT_EQ(session.GetNVAttributeValue(fire, 0, AttrU32::kTag, &word), kTypeMismatch);

  auto* ratio = AddAttribute<AttrF64>(session, 23, "Ratio", true, true);
  ratio->SetValue(AttrF64{0.25});
  double real = 0;
  ASSERT_EQ(session.GetNVAttributeValue(ratio, 0, AttrF64::kTag, &real), kSuccess);
  EXPECT_EQ(real, 0.25);

  // Equal tags that the copy table doesn't serve.
  Attribute* big = nullptr;
  ASSERT_EQ(CreateAttribute(AttrU64::kTag, false, &big), kSuccess);
  big->SetKey(24);
  std::uint64_t large = 0;
  EXPECT_EQ(session.GetNVAttributeValue(big, ComponentKey::Minimum, AttrU64::kTag, &large), kUnknownComponent);
  EXPECT_EQ(session.GetNVAttributeValue(big, 0, AttrU64::kTag, &large), kNotAccessible);
  SubAttribute* readable = nullptr;
  ASSERT_EQ(CreateSubAttribute(AttrBool::kTag, ComponentKey::Readable, &readable), kSuccess);
  big->AddSubAttribute(readable);
  ASSERT_EQ(big->SetReadable(true), kSuccess);
  EXPECT_EQ(session.GetNVAttributeValue(big, 0, AttrU64::kTag, &large), kTypeMismatch);
  delete big;
  auto* title = AddAttribute<AttrString>(session, 25, "Title", true, true);
  EXPECT_EQ(session.GetNVAttributeValue(title, ComponentKey::Readable, AttrBool::kTag, &byte), kSuccess);
  EXPECT_EQ(byte, 1);
}

TEST(SessionAttributes, SetEnumByU32SignExtendsAndNamesTheChoice) {
  FakeSession session;
  auto* mode = AddMode(session);
  const std::uint32_t minus = 0xFFFFFFFF;
  ASSERT_EQ(session.SetNVAttributeValue(mode, 0, AttrU32::kTag, &minus), kSuccess);
  EXPECT_EQ(mode->GetValue().ValueLow, 0xFFFFFFFFU);
  EXPECT_EQ(mode->GetValue().ValueHigh, 0xFFFFFFFFU);
  // Only the low word is compared: the first item with that low word.
  EXPECT_STREQ(mode->GetValue().Name, "Minus");
  EXPECT_EQ(mode->IsDirty(), 1U);

  const std::uint32_t positive = 0x7FFFFFFF;
  ASSERT_EQ(session.SetNVAttributeValue(mode, 0, AttrU32::kTag, &positive), kSuccess);
  EXPECT_EQ(mode->GetValue().ValueLow, 0x7FFFFFFFU);
  EXPECT_EQ(mode->GetValue().ValueHigh, 0U);
  // No such choice: the number stays, the old name too, and all is well.
  EXPECT_STREQ(mode->GetValue().Name, "Minus");
}

TEST(SessionAttributes, SetEnumBy64BitsComparesBothWords) {
  FakeSession session;
  auto* mode = AddMode(session);
  const std::uint64_t big = 0x00000000FFFFFFFFULL;
  ASSERT_EQ(session.SetNVAttributeValue(mode, 0, AttrI64::kTag, &big), kSuccess);
  EXPECT_STREQ(mode->GetValue().Name, "Big");
  const std::uint64_t high = 0x0000000100000007ULL;
  ASSERT_EQ(session.SetNVAttributeValue(mode, 0, AttrI64::kTag, &high), kSuccess);
  EXPECT_STREQ(mode->GetValue().Name, "High7");
  const KELDnvEnumItem_struct whole = Item(3, 0, "Free");
  ASSERT_EQ(session.SetNVAttributeValue(mode, 0, AttrEnum::kTag, &whole), kSuccess);
  EXPECT_STREQ(mode->GetValue().Name, "Free");
  EXPECT_EQ(mode->GetValue().ValueLow, 3U);
}

TEST(SessionAttributes, SetEnumWithoutChoicesStoresTheNumberButIsNotDirty) {
  FakeSession session;
  Attribute* raw = nullptr;
  ASSERT_EQ(CreateAttribute(AttrEnum::kTag, false, &raw), kSuccess);
  raw->SetKey(30);
  SubAttribute* writable = nullptr;
  ASSERT_EQ(CreateSubAttribute(AttrBool::kTag, ComponentKey::Writable, &writable), kSuccess);
  raw->AddSubAttribute(writable);
  ASSERT_EQ(raw->SetWritable(true), kSuccess);
  raw->SetDirty(0);
  session.attributes.Insert(raw);
  const std::uint32_t number = 5;
  EXPECT_EQ(session.SetNVAttributeValue(raw, 0, AttrU32::kTag, &number), kUnknownComponent);
  EXPECT_EQ(dynamic_cast<TypedAttribute<AttrEnum>*>(raw)->GetValue().ValueLow, 5U);
  EXPECT_EQ(raw->IsDirty(), 0U);
}

TEST(SessionAttributes, SetValueChecksAndWrites) {
  FakeSession session;
  auto* gain = AddAttribute<AttrU32>(session, 1, "Gain", true, false);
  const std::uint32_t three = 3;
  EXPECT_EQ(session.SetNVAttributeValue(gain, ComponentKey::Minimum, AttrU32::kTag, &three), kUnknownComponent);
  EXPECT_EQ(session.SetNVAttributeValue(gain, 0, AttrU32::kTag, &three), kNotAccessible);
  ASSERT_EQ(gain->SetWritable(true), kSuccess);
  EXPECT_EQ(session.SetNVAttributeValue(gain, 0, AttrF64::kTag, &three), kTypeMismatch);
  ASSERT_EQ(session.SetNVAttributeValue(gain, 0, AttrU32::kTag, &three), kSuccess);
  EXPECT_EQ(gain->GetValue().value, 3U);
  EXPECT_EQ(gain->IsDirty(), 1U);
  EXPECT_EQ(session.SetNVAttributeValue(nullptr, 0, 1, &three), kBadPointer);

  auto* offset = AddAttribute<AttrI64>(session, 2, "Offset", true, true);
  offset->SetValue(AttrI64{-1});
  const std::uint32_t big = 0x80000000;
  ASSERT_EQ(session.SetNVAttributeValue(offset, 0, AttrU32::kTag, &big), kSuccess);
  EXPECT_EQ(offset->GetValue().value, 0x80000000LL);  // zero-extended
  const std::int64_t negative = -7;
  ASSERT_EQ(session.SetNVAttributeValue(offset, 0, AttrI64::kTag, &negative), kSuccess);
  EXPECT_EQ(offset->GetValue().value, -7);

  auto* flag = AddAttribute<AttrBool>(session, 3, "On", true, true);
  const std::uint8_t yes = 1;
  ASSERT_EQ(session.SetNVAttributeValue(flag, 0, AttrBool::kTag, &yes), kSuccess);
  EXPECT_EQ(flag->GetValue().value, 1U);
  auto* fire = AddAttribute<AttrCommand>(session, 4, "Fire", true, true);
  ASSERT_EQ(session.SetNVAttributeValue(fire, 0, AttrBool::kTag, &yes), kSuccess);
  EXPECT_EQ(fire->GetValue().value, 1U);

  auto* title = AddAttribute<AttrString>(session, 5, "Title", true, true);
  ASSERT_EQ(session.SetNVAttributeValue(title, 0, AttrString::kTag, "hello"), kSuccess);
  EXPECT_STREQ(title->GetValue().c_str(), "hello");
  EXPECT_EQ(title->IsDirty(), 1U);

  auto* ratio = AddAttribute<AttrF64>(session, 6, "Ratio", true, true);
  const double half = 0.5;
  ASSERT_EQ(session.SetNVAttributeValue(ratio, 0, AttrF64::kTag, &half), kSuccess);
  EXPECT_EQ(ratio->GetValue().value, 0.5);
}

TEST(SessionAttributes, EnumValues) {
  FakeSession session;
  auto* mode = AddMode(session);
  auto* gain = AddAttribute<AttrU32>(session, 1, "Gain", true, true);
  NVAttributeEnumItemList items;
  items.push_back(Item(99, 99, "stale"));
  EXPECT_EQ(session.GetNVAttributeEnumValues(gain, &items), kIncompatibleAttributeTypes);
  ASSERT_EQ(session.GetNVAttributeEnumValues(mode, &items), kSuccess);
  ASSERT_EQ(items.size(), 4U);
  EXPECT_STREQ(items[0].Name, "Low");
  EXPECT_STREQ(items[3].Name, "High7");
  mode->GetSubAttributes().erase(ComponentKey::EnumItems);
  EXPECT_EQ(session.GetNVAttributeEnumValues(mode, &items), kUnknownComponent);
  EXPECT_EQ(session.GetNVAttributeEnumValues(mode, nullptr), kBadPointer);
}

TEST(SessionAttributes, FindByNameAndKey) {
  FakeSession session;
  auto* gain = AddAttribute<AttrU32>(session, 1, "Camera::Gain", true, true);
  Attribute* found = nullptr;
  ASSERT_EQ(session.FindAttributeByName("gain", &found), kSuccess);
  EXPECT_EQ(found, gain);
  EXPECT_EQ(session.FindAttributeByName("Nothing", &found), kUnknownAttributeType);
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(session.FindAttributeByName(nullptr, &found), kBadPointer);
  EXPECT_EQ(session.FindAttributeByName("Gain", nullptr), kBadPointer);
  ASSERT_EQ(session.FindAttributeByKey(1, &found), kSuccess);
  EXPECT_EQ(found, gain);
  EXPECT_EQ(session.FindAttributeByKey(2, &found), kUnknownAttributeType);
  EXPECT_EQ(session.FindAttributeByKey(1, nullptr), kBadPointer);
}

}  // namespace
}  // namespace keld
