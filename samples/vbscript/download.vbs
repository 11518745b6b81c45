' Shows how a script downloads prices: it lists the data sources, downloads one ticker with a
' progress sink, and prints the first and the last rows.
'
' Run it with the script host of the registered library's bitness, here the 32-bit one:
'
'   cscript //nologo download.vbs [TICKER [STARTDATE ENDDATE]]
'
' where dates are written 2008-09-15. On 64-bit Windows that host is %windir%\SysWOW64\cscript.exe.
' The library has to be registered, and a quote service has to listen where the library looks.
' Exit status: 0, or 1 with a line that says what went wrong.
Option Explicit

Const shownRows = 3

' The library calls these four; a sink may leave out those that it does not need.
Class Sink
    Public Sub Start(Caller)
    End Sub

    ' Called for each block that arrives.
    Public Sub Progress(Caller, Percent, Text)
    End Sub

    Public Sub DataReady(Caller)
        WScript.Echo "Data is ready."
    End Sub

    Public Sub Done(Caller, Number)
        WScript.Echo "The session is done, error number " & Number & "."
    End Sub
End Class

Sub Fail(message)
    WScript.Echo "Failed: " & message
    WScript.Quit 1
End Sub

' session.Error is a record; script languages read one of its fields.
Function ErrorText(session)
    ErrorText = "the source delivered nothing"
    If session.Error("ErrorNumber") = 0 Then Exit Function
    Dim number
    number = session.Error("ErrorNumber")
    If number < 0 Then number = "0x" & Hex(number)
    ErrorText = session.Error("ErrorDescription") & " (" & number & ")"
End Function

Function Argument(index, default)
    Argument = default
    If WScript.Arguments.Count > index Then Argument = WScript.Arguments(index)
End Function

' Of other forms each country reads another day.
Function DateFrom(text)
    On Error Resume Next
    DateFrom = DateSerial(CInt(Left(text, 4)), CInt(Mid(text, 6, 2)), CInt(Mid(text, 9, 2)))
    On Error GoTo 0
    If IsoDate(DateFrom) <> text Then Fail text & " is not a date like 2008-09-15"
End Function

Function TwoDigits(number)
    TwoDigits = Right("0" & number, 2)
End Function

Function IsoDate(value)
    IsoDate = Year(value) & "-" & TwoDigits(Month(value)) & "-" & TwoDigits(Day(value))
End Function

' Script languages cannot index an array of dates or numbers, but the library reads one entry for
' them: field.Data(0) is the first. On Windows UBound(field.Data) is the last index; reading until
' there is no more entry works under Wine too.
Function RowCount(field)
    Dim value
    RowCount = 0
    On Error Resume Next
    Do
        value = field.Data(RowCount)
        If Err.Number <> 0 Then Exit Do
        RowCount = RowCount + 1
    Loop
End Function

Sub PrintRows(fields, first, last)
    Dim row
    For row = first To last
        WScript.Echo IsoDate(fields.Item("DATE").Data(row)) & "  close " & _
                     fields.Item("CLOSE").Data(row) & "  volume " & fields.Item("VOLUME").Data(row)
    Next
End Sub

Dim manager, source
On Error Resume Next
Set manager = CreateObject("vtdl.CManager")
If Err.Number <> 0 Then Fail "the library is not registered (regsvr32 VTDL33.dll)"
On Error GoTo 0

WScript.Echo "Data sources:"
For Each source In manager.DataSources
    WScript.Echo "  " & source.Name & ": " & source.Description
Next

Dim session, ticker
ticker = Argument(0, "AAPL")
Set session = manager.DataSources.Item("YAHOOHIST").CreateSession
session.Parameters.Item("TICKER").Value = ticker
session.Parameters.Item("STARTDATE").Value = DateFrom(Argument(1, "2008-01-02"))
session.Parameters.Item("ENDDATE").Value = DateFrom(Argument(2, "2008-10-14"))
Set session.Progressor = New Sink

WScript.Echo "Downloading " & ticker & "."
session.Start
If session.Data Is Nothing Then Fail ErrorText(session)

Dim fields, rows
Set fields = session.Data.Values.Item("HISTORICAL").Value
rows = RowCount(fields.Item("DATE"))
' A reply without rows arrives as a single one, dated 1899-12-30, whose numbers are 0.
If rows = 0 Then Fail "no rows for " & ticker
If rows = 1 And CDbl(fields.Item("DATE").Data(0)) = 0 Then Fail "no rows for " & ticker

WScript.Echo rows & " rows; the first and the last " & shownRows & ":"
If rows <= 2 * shownRows Then
    PrintRows fields, 0, rows - 1
Else
    PrintRows fields, 0, shownRows - 1
    WScript.Echo "..."
    PrintRows fields, rows - shownRows, rows - 1
End If
WScript.Echo "Finished."
