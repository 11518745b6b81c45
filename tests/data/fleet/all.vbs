For Each name In Array("YAHOOHIST", "YAHOODIVIDENDS", "YAHOOREALTIME", "GOOGLEHIST", "Pifin", "CBOE")
  Set session = CreateObject("vtdl.CManager").DataSources(name).CreateSession
  session.Parameters("TICKER").Value = "Y"
  session.Start
  WScript.Echo name & " " & Hex(session.Error("ErrorNumber"))
Next
