#pragma once

namespace Qfn {
class IData;
class Data_abstract;
class DataNull;
class DataOM;
class DataString;
class IIni;
class Ini;
class IniFile;
struct IniEntry;
}  // namespace Qfn
