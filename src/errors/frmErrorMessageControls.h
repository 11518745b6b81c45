/* Identifiers of the error dialog and its controls; the resource compiler reads them too. */
#define frmErrorMessageDialog 100
#define elaTitleCaption 101
#define txtErrorMessage 102
#define btnAbort 103
#define btnRetry 104
#define btnIgnore 105
#define btnSend 106
