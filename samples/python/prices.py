"""Shows how Python downloads prices with comtypes, with a progress sink and a proper error.

    python prices.py [TICKER [STARTDATE ENDDATE]]        dates are written 2008-09-15

Needs Python of the library's bitness and `pip install comtypes`. With pywin32 the same calls work on
win32com.client.Dispatch("vtdl.CManager"). Not run here: there is no Windows Python under Wine.
"""
import datetime
import sys

import comtypes.client


def make_sink(vtdl):
    """A progress sink; the library calls it on this thread."""

    class Sink(comtypes.COMObject):
        _com_interfaces_ = [vtdl._IProgressCallBack]

        def Start(self, caller):
            print("connected")

        def Progress(self, caller, percent, text):
            print(f"\r{percent} %", end="", flush=True)
            return percent, text

        def DataReady(self, caller):
            print("\rdata is ready")

        def Done(self, caller, number):
            pass

    return Sink()


def main(ticker="AAPL", start="2008-09-15", end="2008-10-14"):
    manager = comtypes.client.CreateObject("vtdl.CManager")
    from comtypes.gen import vtdl  # generated from the type library by CreateObject

    # Keys are by-reference arguments: Item returns the key and, last, the item.
    session = manager.DataSources.Item("YAHOOHIST")[-1].CreateSession()
    session.Parameters.Item("TICKER")[-1].Value = ticker
    session.Parameters.Item("STARTDATE")[-1].Value = datetime.datetime.fromisoformat(start)
    session.Parameters.Item("ENDDATE")[-1].Value = datetime.datetime.fromisoformat(end)
    session.Progressor = make_sink(vtdl)
    session.Start()

    error = session.Error
    if error.ErrorNumber != 0:
        sys.exit(f"{ticker}: {error.ErrorDescription} ({error.ErrorNumber})")
    if not session.Data:
        sys.exit(f"{ticker}: no data; see 'Error Log.txt'")
    block = session.Data.Values.Item("HISTORICAL")[-1].Value
    fields = block.QueryInterface(vtdl._CDataFields)
    columns = {field.Name: field.Data for field in fields}
    # A reply without rows arrives as a single one of the year 1899, whose numbers are 0.
    if columns["DATE"][0].year == 1899:
        sys.exit(f"{ticker}: no rows")
    for day, close in zip(columns["DATE"], columns["CLOSE"]):
        print(f"{day:%Y-%m-%d}  {close:10.2f}")


if __name__ == "__main__":
    main(*sys.argv[1:])
