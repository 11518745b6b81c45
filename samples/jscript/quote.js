// Shows how a script fetches one quote again and again: it looks at the settings of a data source,
// downloads the quote of a ticker several times in one session, and prints what has changed.
//
// Run it with the 32-bit script host, for the library is a 32-bit one:
//
//   cscript //nologo quote.js [TICKER [TIMES]]
//
// On 64-bit Windows that host is %windir%\SysWOW64\cscript.exe. The library has to be registered, and
// a quote service has to listen where the library looks. Exit status: 0, or 1 with a line that says
// what went wrong.

function fail(message) {
    WScript.Echo("Failed: " + message);
    WScript.Quit(1);
}

function argument(index, otherwise) {
    return WScript.Arguments.length > index ? WScript.Arguments.Item(index) : otherwise;
}

// A sink may leave out the methods that it does not need.
function Sink() {
    this.updates = 0;
}
Sink.prototype.DataReady = function (caller) {
    this.updates = this.updates + 1;
};

// session.Error is a record; script languages read one of its fields. Negative numbers are known by
// their digits to the base 16.
function errorOf(session) {
    var number = session.Error("ErrorNumber");
    if (number === 0) return "";
    var digits = number < 0 ? "0x" + (number + 4294967296).toString(16).toUpperCase() : number;
    return session.Error("ErrorDescription") + " (" + digits + ")";
}

// A value that the service does not have arrives as the text N/A, or empty.
function show(fields, name) {
    var value = fields.Item(name).Data;
    return name + " " + (value === undefined || value === null ? "-" : value);
}

var manager;
try {
    manager = new ActiveXObject("vtdl.CManager");
} catch (e) {
    fail("the library is not registered (regsvr32 VTDL33.dll)");
}

var source = manager.DataSources.Item("YAHOOREALTIME");
WScript.Echo(source.Description + ", section " + source.Parameters.Item("NAME").Value);

var session = source.CreateSession();
var sink = new Sink();
session.Parameters.Item("TICKER").Value = argument(0, "INTC");
session.Progressor = sink;

var times = parseInt(argument(1, "2"), 10);
for (var i = 0; i < times; ++i) {
    session.NextTick();
    if (errorOf(session) !== "") fail(errorOf(session));
    if (session.Data === null) fail("the source delivered nothing");
    var fields = session.Data.Values.Item("TICKER").Value;
    // Of a ticker that the service does not know every value is missing.
    if (isNaN(parseFloat(fields.Item("LAST TRADE").Data))) fail("no quote for " + argument(0, "INTC"));
    WScript.Echo(show(fields, "TICKER") + ", " + show(fields, "LAST TRADE") + ", " +
                 show(fields, "CHANGE") + ", " + show(fields, "VOLUME"));
}
session.Done();
WScript.Echo(sink.updates + " updates.");
WScript.Echo("Finished.");
