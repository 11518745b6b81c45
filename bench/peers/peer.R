# Times data.table and R's own reader on a table: peer.R FILE-OR-URL RUNS. Prints name, median seconds, sum
# of the numbers. Both read a file, which for them is faster than a text.
suppressMessages(library(data.table))
arguments <- commandArgs(TRUE)
source <- arguments[1]
readers <- list(
  "data.table" = function() fread(source, showProgress = FALSE),
  "R's read.csv" = function() read.csv(source, colClasses = c("Date", rep("numeric", 6)))
)
for (name in names(readers)) {
  seconds <- c()
  for (run in 0:as.integer(arguments[2])) {
    start <- as.numeric(Sys.time())
    table <- readers[[name]]()
    seconds[run + 1] <- as.numeric(Sys.time()) - start
  }
  total <- sum(sapply(2:7, function(column) sum(as.numeric(table[[column]]))))
  cat(name, sprintf("%.9f", median(seconds[-1])), sprintf("%.17g", total), sep = "\t")
  cat("\n")
}
