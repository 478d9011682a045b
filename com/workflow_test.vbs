' A VBScript host of tkstream63.dll: a small field through the late-bound interface, with arrays
' and results passed by reference, optional arguments left out, the duplicate-name dialog answered
' by a script object, the store saved and loaded through a RecordFile, and the error report.
' Prints "N passed, N failed"; a check whose statement raised an error counts as failed.
Option Explicit
On Error Resume Next

Const kExpectedChecks = 24
Dim passed, failed
passed = 0 : failed = 0

Sub Check(condition, what)
    If condition Then
        passed = passed + 1
    Else
        failed = failed + 1
        WScript.Echo "FAILED: " & what
    End If
End Sub

' The library reads a (1 To rows, 1 To cols) table as one block from element (1, 1); a script's
' array starts at 0, so the values go where that block lies in an array dimensioned (rows, cols).
Sub PutAt(table, rows, r, c, value)
    Dim k
    k = (rows + 1) + 1 + (c - 1) * rows + (r - 1)
    table(k Mod (rows + 1), k \ (rows + 1)) = value
End Sub

' Answers every duplicate-name question with the button set in Answer.
Class ScriptDialog
    Public Answer
    Public Asked
    Public Buttons
    Public FirstButton
    Public Captions
    Public Sub ShowChoice(zMessage, cButtons, iStyle, zTitle, iChoice)
        Asked = Asked + 1
        Buttons = cButtons.Count
        FirstButton = cButtons.Item(1)
        Dim caption
        Captions = ""
        For Each caption In cButtons
            Captions = Captions & caption & "|"
        Next
        iChoice = Answer
    End Sub
End Class

Function MakeDataSet()
    Dim ds, ok, names(3), types(3), x(3), y(3), z(3), nodes, pointers, headers(7), units(7), s, r
    Set ds = CreateObject("tk174StreamStorage.rvStreamSet")
    ds.Origin = "Run"
    ds.GroupName = "Pattern"
    ds.TVGroupName = "Streamlines"
    ds.DateStamp = "2024-06-01"
    ok = False
    ds.setGridDimension 10, 10, 1, ok
    names(1) = "I1" : names(2) = "P1" : names(3) = "P2"
    types(1) = 2 : types(2) = 1 : types(3) = 1
    x(1) = 50 : x(2) = 0 : x(3) = 100
    y(1) = 50 : y(2) = 0 : y(3) = 100
    z(1) = 5 : z(2) = 5 : z(3) = 5
    ds.setWellNames names, 3, ok
    ds.setWellTypes types, 3, ok
    ds.setWellLocations x, y, z, 3, ok
    ' Two streamlines of three nodes: I1 to P1 and I1 to P2; columns X Y Z CELL TOF DRT V.
    ReDim nodes(6, 7)
    For s = 0 To 1
        For r = 1 To 3
            PutAt nodes, 6, s * 3 + r, 1, 50 - 25 * (r - 1) * (1 - 2 * s)
            PutAt nodes, 6, s * 3 + r, 2, 50 - 25 * (r - 1) * (1 - 2 * s)
            PutAt nodes, 6, s * 3 + r, 3, 5
            PutAt nodes, 6, s * 3 + r, 4, 1 + r
            PutAt nodes, 6, s * 3 + r, 5, 10 * (r - 1) + s
            PutAt nodes, 6, s * 3 + r, 6, r
            PutAt nodes, 6, s * 3 + r, 7, 1
        Next
    Next
    ds.setStreamLineData nodes, 7, 6, ok
    ReDim pointers(8, 4)
    For s = 1 To 2
        PutAt pointers, 8, 1, s, 1 + 3 * (s - 1)
        PutAt pointers, 8, 2, s, 3
        PutAt pointers, 8, 7, s, 1
        PutAt pointers, 8, 8, s, s + 1
    Next
    ds.setStreamLinePointers pointers, 8, 2, ok
    headers(1) = "X" : headers(2) = "Y" : headers(3) = "Z" : headers(4) = "CELL"
    headers(5) = "TOF" : headers(6) = "DRT" : headers(7) = "V"
    ds.setHeaders headers, units, 7, ok
    Set MakeDataSet = ds
End Function

Dim host, dialog, store, ds1, ds2, ok, n, hits, tof, nn, file, store2, loaded, path, text, version

Set host = CreateObject("tk174StreamStorage.StreamStorageHost")
host.ClearMessages
Set dialog = New ScriptDialog
dialog.Answer = 5 : dialog.Asked = 0   ' "&Rename"
Set host.DuplicateNameDialog = dialog

' ---- store add with a duplicate ----
Set store = CreateObject("tk174StreamStorage.rvStreamStore")
Set ds1 = MakeDataSet()
Set ds2 = MakeDataSet()
Check ds1.NumberStreamlines = 2 And ds1.MaxRows = 6, "dataset holds 2 streamlines and 6 nodes"
store.AddItem ds1
store.AddItem ds2
Check store.NumberOfStreamSets = 2, "two datasets in the store"
Check dialog.Asked = 1 And dialog.Buttons = 6, "the dialog was asked once with six buttons"
Check dialog.FirstButton = "&Overwrite all", "first button caption: " & dialog.FirstButton
Check dialog.Captions = "&Overwrite all|&Rename all|&Cancel all|&Overwrite|&Rename|&Cancel|", "For Each gives the captions in order: " & dialog.Captions
Check ds2.Origin = "Run1", "the duplicate was renamed: " & ds2.Origin

' ---- by-reference arrays and scalars ----
ok = False : nn = 0
ds1.getSingleStreamlineTOF 2, tof, nn, ok
Check ok And nn = 3, "getSingleStreamlineTOF gives 3 nodes"
Check UBound(tof) = 3 And tof(1) = 1 And tof(3) = 21, "TOF values come back in a variant array"
Dim wellNames, count
ds1.getWellNames wellNames, count, ok
Check count = 3 And wellNames(3) = "P2", "getWellNames fills the script's array"
wellNames(1) = "old"
ds1.getWellNames wellNames, count, ok   ' the member replaces strings the script handed in
Check wellNames(1) = "I1" And wellNames(3) = "P2", "getWellNames overwrites a filled array"
ds1.setWellNames wellNames, count, ok   ' the member only reads them
Check ok And wellNames(1) = "I1" And wellNames(2) = "P1", "an array the member only reads keeps its strings"
Check ds1.WellNumber("p1") = 2, "WellNumber upper-cases the name it looks for"

' ---- search with the optional arguments left out ----
store.SearchClear
store.SearchAddAttribute 1, "run1", ok
store.SearchCreatePointers ok
store.SearchPointers hits, n, ok
Check ok And n = 1, "search by Origin finds one dataset"
Check hits(1, 1) = 2, "the hit is dataset 2"

' ---- save and load through a RecordFile ----
path = CreateObject("Scripting.FileSystemObject").GetSpecialFolder(2).Path & "\tkstream63_vbs.bin"
Set file = CreateObject("tk174StreamStorage.RecordFile")
Check file.OpenForWriting(path), "RecordFile opens for writing"
store.BINARYEXPORT file, ok
Check ok, "BINARYEXPORT"
Check file.Commit(), "Commit: " & file.LastError
Set store2 = CreateObject("tk174StreamStorage.rvStreamStore")
Set file = CreateObject("tk174StreamStorage.RecordFile")
Check file.OpenForReading(path), "RecordFile opens for reading"
store2.BINARYIMPORT file, ok
file.Abandon
Check ok And store2.NumberOfStreamSets = 2, "BINARYIMPORT gives both datasets back"
Check store2.Origin(2) = "Run1", "the loaded dataset 2 is Run1"
store2.GetItem 2, loaded
loaded.getSingleStreamlineTOF 2, tof, nn, ok
Check ok And tof(3) = 21, "the loaded TOF values are the saved ones"
CreateObject("Scripting.FileSystemObject").DeleteFile path

' ---- errors ----
host.ClearMessages
Dim shortTable(2, 2)
ds1.setStreamLineData shortTable, 7, 60, ok   ' more rows than the array holds
text = host.LastMessage
Check InStr(text, "(No.9) In [rvStreamSet (Code) (setStreamLineData)] ") > 0, "a short array is reported: " & text
Err.Clear
n = ds1.getWellName("abc")
Check Err.Number = 13, "a text for a Long raises Type mismatch in the script (" & Err.Number & ")"
Err.Clear

' ---- version, all optional arguments left out ----
version = CreateObject("tk174StreamStorage.rvStreamStorageInfo").DLLVersion
Check Left(version, 16) = "tkstream63 v6.3.", "DLLVersion: " & version

failed = failed + (kExpectedChecks - passed - failed)
WScript.Echo passed & " passed, " & failed & " failed"
If failed > 0 Then WScript.Quit 1
WScript.Quit 0
