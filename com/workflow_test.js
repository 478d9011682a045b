// A JScript host of tkstream63.dll. JScript passes every argument by value and has no arrays the
// library can take, so this host works through properties, results, and the host hooks: its own
// duplicate-name dialog (answering through the result) and its own error reporter.
// Prints "N passed, N failed".
var passed = 0, failed = 0;
function check(condition, what) {
    if (condition) { passed++; } else { failed++; WScript.Echo("FAILED: " + what); }
}

function run() {
    var host = new ActiveXObject("tk174StreamStorage.StreamStorageHost");
    var asked = 0, buttons = 0;
    host.DuplicateNameDialog = {
        ShowChoice: function (zMessage, cButtons, iStyle, zTitle, iChoice) {
            asked++;
            buttons = cButtons.Count;
            return 4;  // "&Overwrite"
        }
    };
    var reports = [];
    host.ErrorReporter = { Report: function (zMessage, iCode) { reports.push(zMessage); } };

    var ds = new ActiveXObject("tk174StreamStorage.rvStreamSet");
    ds.Origin = "base";
    check(ds.UCaseOrigin == "BASE", "Origin let keeps an upper-case copy");
    ds.MaxZones = 7;
    ds.MaxZones = -3;
    check(ds.MaxZones == 7, "MaxZones ignores a value below 1");
    check(ds.NumberWells == -1 && ds.WAFType == 2 && ds.Initialised, "a new dataset's defaults");
    check(ds.GetDataSetAttribute(14, "") === true, "attribute code 14 answers True");
    check(ds.IndexFromTVKEY("") == 0, "IndexFromTVKEY without columns is 0");

    var store = new ActiveXObject("tk174StreamStorage.rvStreamStore");
    store.AddItem(ds);
    store.AddItem(new ActiveXObject("tk174StreamStorage.rvStreamSet"));  // no Origin: not the same as ds
    var twin = new ActiveXObject("tk174StreamStorage.rvStreamSet");
    twin.Origin = "BASE";
    store.AddItem(twin);
    check(asked == 1 && buttons == 6, "the script dialog was asked once with six buttons");
    check(store.NumberOfStreamSets == 2 && store.OverWrittenDataSet, "the answer Overwrite replaced dataset 1");
    check(store.Origin(1) == "BASE", "dataset 1 is the overwriting one");

    ds.getWellName("abc");  // a text the library cannot take as a Long
    check(false, "a text for a Long should have raised an error");
}

try {
    run();
} catch (e) {
    check((e.number >>> 0) == 0x80020005, "the type mismatch reaches the script (" + (e.number >>> 0).toString(16) + ")");
}
var version = new ActiveXObject("tk174StreamStorage.rvStreamStorageInfo").DLLVersion();
// The version resource's numbers and the DLL's own file date (not "Unknown Date": the path is the DLL's).
check(/^tkstream63 v6\.3\.\d+ \d{4}-\d\d-\d\d \d\d:\d\d:\d\d$/.test(version),
      "DLLVersion with its optional arguments left out: " + version);
WScript.Echo(passed + " passed, " + failed + " failed");
WScript.Quit(failed > 0 || passed != 10 ? 1 : 0);
