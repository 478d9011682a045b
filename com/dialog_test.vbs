' Adds a dataset whose name is already in the store with no dialog of the host's plugged in, so
' the library's own Windows dialog asks; the test driver answers it from the keyboard. The one
' argument is the button number the driver pressed (0: the box was closed). Prints the store's
' state and "N passed, N failed".
Option Explicit
On Error Resume Next

Dim passed, failed, expected, store, first, second, sets, flags
passed = 0 : failed = 0
expected = CInt(WScript.Arguments(0))

Sub Check(condition, what)
    If condition Then
        passed = passed + 1
    Else
        failed = failed + 1
        WScript.Echo "FAILED: " & what
    End If
End Sub

Set store = CreateObject("tk174StreamStorage.rvStreamStore")
Set first = CreateObject("tk174StreamStorage.rvStreamSet")
Set second = CreateObject("tk174StreamStorage.rvStreamSet")
first.Origin = "Run"
second.Origin = "Run"
store.AddItem first
store.AddItem second   ' the dialog
sets = store.NumberOfStreamSets
flags = CStr(store.AutomaticOverWrite) & " " & CStr(store.AutomaticRename) & " " & CStr(store.AutomaticCancel)
WScript.Echo "datasets " & sets & ", automatic overwrite/rename/cancel: " & flags & ", second named " & second.Origin

' What each button leaves: datasets in the store, the "all" flag it sets, the second's name.
Dim want(6)
want(0) = Array(1, "False False False", "Run")   ' closed
want(1) = Array(1, "True False False", "Run")    ' &Overwrite all
want(2) = Array(2, "False True False", "Run1")   ' &Rename all
want(3) = Array(1, "False False True", "Run")    ' &Cancel all
want(4) = Array(1, "False False False", "Run")   ' &Overwrite
want(5) = Array(2, "False False False", "Run1")  ' &Rename
want(6) = Array(1, "False False False", "Run")   ' &Cancel
Check sets = want(expected)(0), "datasets in the store: " & sets
Check flags = want(expected)(1), "automatic flags: " & flags
Check second.Origin = want(expected)(2), "second dataset's name: " & second.Origin
Check Err.Number = 0, "no script error: " & Err.Description
WScript.Echo passed & " passed, " & failed & " failed"
WScript.Quit failed
