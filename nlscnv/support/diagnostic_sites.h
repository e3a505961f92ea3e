// Every place that prints the diagnostic line, by name: its line number and
// source unit are fixed by the interface (hosts and scripts match them), so
// they are written here once and nowhere else.
#ifndef NLSCNV_SUPPORT_DIAGNOSTIC_SITES_H
#define NLSCNV_SUPPORT_DIAGNOSTIC_SITES_H

namespace nls {

// Source-unit names printed by the diagnostic line.
namespace unit {
inline constexpr char kNlsenc[] = "nlsenc";      // exported interface
inline constexpr char kEnconv[] = "enconv";      // conversion objects
inline constexpr char kReg[] = "reg";            // encoding registry
inline constexpr char kLinker[] = "linker";      // converter libraries
inline constexpr char kTwoStage[] = "twostage";  // two-stage converter
inline constexpr char kEnccn[] = "enccn";        // converter base class
inline constexpr char kUtblfunc[] = "utblfunc";  // mapping and shift tables
inline constexpr char kStatcn[] = "statcn";      // built-in module
inline constexpr char kUtf8cn[] = "utf8cn";
inline constexpr char kUcs4cn[] = "ucs4cn";
inline constexpr char kUtf7cn[] = "utf7cn";
inline constexpr char kMutf7cn[] = "mutf7cn";
inline constexpr char kEucscn[] = "eucscn";
inline constexpr char kLat1cn[] = "lat1cn";
inline constexpr char kAutocvt[] = "autocvt";
inline constexpr char kUtf8de[] = "utf8de";
inline constexpr char kNlsmutex[] = "nlsmutex";
}  // namespace unit

struct DiagnosticSite {
  int line;
  const char* unit;
};

namespace site {
// Exported interface.
inline constexpr DiagnosticSite kConvertBufferArgument{85, unit::kNlsenc};
inline constexpr DiagnosticSite kConvertBufferNoObject{88, unit::kNlsenc};
inline constexpr DiagnosticSite kRegisterNullList{112, unit::kNlsenc};
inline constexpr DiagnosticSite kNewConverterArgument{144, unit::kNlsenc};
inline constexpr DiagnosticSite kNewConverterNoObject{147, unit::kNlsenc};
inline constexpr DiagnosticSite kNewEnumerationNoObject{291, unit::kNlsenc};

// Conversion objects.
inline constexpr DiagnosticSite kNoFirstStage{79, unit::kEnconv};
inline constexpr DiagnosticSite kNoSecondStage{81, unit::kEnconv};
inline constexpr DiagnosticSite kNoTwoStage{83, unit::kEnconv};
inline constexpr DiagnosticSite kNoConversionPath{90, unit::kEnconv};
inline constexpr DiagnosticSite kDefaultDirectoryNoMemory{168, unit::kEnconv};
inline constexpr DiagnosticSite kDirectoryNoMemory{181, unit::kEnconv};
inline constexpr DiagnosticSite kNoRegistryObject{221, unit::kEnconv};
inline constexpr DiagnosticSite kExistsNoRegistry{270, unit::kEnconv};
inline constexpr DiagnosticSite kOverflowArgument{337, unit::kEnconv};
inline constexpr DiagnosticSite kResultSizeNoObject{437, unit::kEnconv};
inline constexpr DiagnosticSite kListNoSourceArray{553, unit::kEnconv};
inline constexpr DiagnosticSite kListNoDestinationArray{554, unit::kEnconv};

// Encoding registry: construction.
inline constexpr DiagnosticSite kNoEncodingTable{57, unit::kReg};
inline constexpr DiagnosticSite kNoAliasTable{59, unit::kReg};
inline constexpr DiagnosticSite kNoJavaTable{61, unit::kReg};
inline constexpr DiagnosticSite kNoReverseJavaTable{63, unit::kReg};
inline constexpr DiagnosticSite kNoLoader{67, unit::kReg};
inline constexpr DiagnosticSite kLoaderFailed{68, unit::kReg};
inline constexpr DiagnosticSite kBuiltinEntryNoMemory{76, unit::kReg};
inline constexpr DiagnosticSite kBuiltinSourceAliasNoMemory{83, unit::kReg};
inline constexpr DiagnosticSite kBuiltinDestinationAliasNoMemory{87, unit::kReg};
inline constexpr DiagnosticSite kBuiltinAliasNoMemory{95, unit::kReg};
// Encoding registry: reading the registry files.
inline constexpr DiagnosticSite kNullDataDirectory{158, unit::kReg};
inline constexpr DiagnosticSite kDataDirectoryNoMemory{164, unit::kReg};
inline constexpr DiagnosticSite kEncregPathNoMemory{172, unit::kReg};
inline constexpr DiagnosticSite kEncregFailed{186, unit::kReg};
inline constexpr DiagnosticSite kAliasregPathNoMemory{201, unit::kReg};
inline constexpr DiagnosticSite kAliasregFailed{215, unit::kReg};
inline constexpr DiagnosticSite kJavaregPathNoMemory{224, unit::kReg};
inline constexpr DiagnosticSite kJavaregFailed{238, unit::kReg};
inline constexpr DiagnosticSite kEncregEntryNoMemory{274, unit::kReg};
inline constexpr DiagnosticSite kEncregIdentityNoMemory{281, unit::kReg};
inline constexpr DiagnosticSite kJavaEntryNoMemory{333, unit::kReg};
inline constexpr DiagnosticSite kReverseJavaEntryNoMemory{335, unit::kReg};
inline constexpr DiagnosticSite kAliasregEntryNoMemory{360, unit::kReg};
// Encoding registry: lookups and creation.
inline constexpr DiagnosticSite kNoDetector{439, unit::kReg};
inline constexpr DiagnosticSite kNoDetectorEntryPoint{451, unit::kReg};
inline constexpr DiagnosticSite kRememberNameNoMemory{479, unit::kReg};
inline constexpr DiagnosticSite kNoEntryOrLoader{525, unit::kReg};
inline constexpr DiagnosticSite kNoConverterEntryPoint{533, unit::kReg};
inline constexpr DiagnosticSite kHostEntryNoMemory{618, unit::kReg};
inline constexpr DiagnosticSite kHostSourceAliasNoMemory{626, unit::kReg};
inline constexpr DiagnosticSite kHostDestinationAliasNoMemory{630, unit::kReg};

// Converter-library loader.
inline constexpr DiagnosticSite kBuiltinLibraryNoMemory{159, unit::kLinker};
inline constexpr DiagnosticSite kBuiltinEntriesNoMemory{175, unit::kLinker};
inline constexpr DiagnosticSite kLibraryPathNoMemory{207, unit::kLinker};
inline constexpr DiagnosticSite kNoLibraryPath{227, unit::kLinker};
inline constexpr DiagnosticSite kLibraryRecordNoMemory{255, unit::kLinker};
inline constexpr DiagnosticSite kLibraryNotLoaded{266, unit::kLinker};
inline constexpr DiagnosticSite kNoLibraryList{303, unit::kLinker};
inline constexpr DiagnosticSite kOpenFailed{499, unit::kLinker};
inline constexpr DiagnosticSite kUnloadUnknownLibrary{526, unit::kLinker};
inline constexpr DiagnosticSite kUnloadWithoutList{578, unit::kLinker};
inline constexpr DiagnosticSite kSymbolLibraryNotLoaded{628, unit::kLinker};
inline constexpr DiagnosticSite kSymbolNoLibrary{652, unit::kLinker};
inline constexpr DiagnosticSite kSymbolNoName{653, unit::kLinker};
inline constexpr DiagnosticSite kSymbolNotFound{733, unit::kLinker};

// Two-stage converter.
inline constexpr DiagnosticSite kIntermediateNoMemory{60, unit::kTwoStage};
inline constexpr DiagnosticSite kFirstStageIncomplete{63, unit::kTwoStage};

// Table engine.
inline constexpr DiagnosticSite kGenerateFailed{108, unit::kEnccn};
inline constexpr DiagnosticSite kOutputUsedUp{143, unit::kEnccn};
inline constexpr DiagnosticSite kGenerateBadCellClass{124, unit::kUtblfunc};
inline constexpr DiagnosticSite kGenerateBadTableClass{277, unit::kUtblfunc};
inline constexpr DiagnosticSite kBadCellFormat{298, unit::kUtblfunc};
inline constexpr DiagnosticSite kScanBadCellClass{570, unit::kUtblfunc};
inline constexpr DiagnosticSite kScanBadTableClass{644, unit::kUtblfunc};

// Algorithmic converters.
inline constexpr DiagnosticSite kUcs4ToUcs2NoRoom{34, unit::kUcs4cn};
inline constexpr DiagnosticSite kUcs2ToUcs4NoRoom{67, unit::kUcs4cn};
inline constexpr DiagnosticSite kEscapedToUcs2NoRoom{97, unit::kEucscn};
inline constexpr DiagnosticSite kUcs2ToEscapedNoRoom{155, unit::kEucscn};
inline constexpr DiagnosticSite kLatin1OutputUsedUp{40, unit::kLat1cn};
}  // namespace site

}  // namespace nls

#endif  // NLSCNV_SUPPORT_DIAGNOSTIC_SITES_H
