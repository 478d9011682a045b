' Benchmark (not a test): 20,000 late-bound calls from VBScript, each passing a 100-element array
' by reference and getting it back. Run: wine64 cscript //nologo com\bench_calls.vbs
Dim ds, names(100), back, n, ok, k, start
Set ds = CreateObject("tk174StreamStorage.rvStreamSet")
For k = 1 To 100 : names(k) = "W" & k : Next
start = Timer
For k = 1 To 10000
    ds.setWellNames names, 100, ok
    ds.getWellNames back, n, ok
Next
WScript.Echo "20000 VBScript calls with 100-element arrays: " & FormatNumber(Timer - start, 2) & " s"
