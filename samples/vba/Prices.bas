Attribute VB_Name = "Prices"
' Shows a whole download: parameters, progress, errors, and rows into the active sheet.
Option Explicit

Public Sub FillPrices()
    Dim manager As New vtdl.CManager
    Dim session As vtdl.CSession
    Dim progress As New DownloadProgress
    Dim fields As vtdl.CDataFields
    Dim ticker As String

    ticker = InputBox("Ticker", "Prices", "AAPL")
    If Len(ticker) = 0 Then Exit Sub

    Set session = manager.DataSources("YAHOOHIST").CreateSession
    session.Parameters("TICKER").Value = ticker
    session.Parameters("STARTDATE").Value = DateSerial(2008, 1, 2)
    session.Parameters("ENDDATE").Value = DateSerial(2008, 10, 14)
    session.Parameters("PERIODICITY").Value = "DAILY"
    Set session.Progressor = progress

    session.Start                             ' returns when the download is done
    If session.Error.ErrorNumber <> 0 Then
        MsgBox session.Error.ErrorDescription, vbExclamation, ticker
        Exit Sub
    End If
    If session.Data Is Nothing Then Exit Sub  ' a run-time error inside, which was shown or logged

    Set fields = session.Data.Values("HISTORICAL").Value
    If Year(fields("DATE").Data(0)) = 1899 Then   ' a reply without rows arrives as a single such one
        MsgBox "no rows", vbExclamation, ticker
        Exit Sub
    End If
    WriteColumns fields, ActiveSheet.Range("A1")
End Sub

' The columns side by side below their names. A column's data is an array; index 0 is the oldest row.
Private Sub WriteColumns(fields As vtdl.CDataFields, where As Range)
    Dim field As vtdl.CDataField
    Dim column As Long, row As Long
    Dim values As Variant
    Dim cells() As Variant

    For Each field In fields
        values = field.Data
        ReDim cells(0 To UBound(values) + 1, 0 To 0)
        cells(0, 0) = field.Name
        For row = 0 To UBound(values)
            cells(row + 1, 0) = values(row)
        Next row
        where.Offset(0, column).Resize(UBound(cells) + 1, 1).Value = cells
        column = column + 1
    Next field
End Sub
