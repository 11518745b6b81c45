#!/usr/bin/perl
# Times Text::CSV_XS on a table: peer.pl FILE-OR-URL RUNS. Prints name, median seconds, sum of the numbers.
use strict;
use warnings;
use HTTP::Tiny;
use Text::CSV_XS;
use Time::HiRes 'time';

my ($source, $runs) = @ARGV;
my $isWeb = $source =~ /^http/;
my $recorded = $isWeb ? '' : do { local (@ARGV, $/) = $source; <> };
my (@seconds, @columns);
for (0 .. $runs) {
    my $start = time;
    my $text = $isWeb ? HTTP::Tiny->new->get($source)->{content} : $recorded;
    open my $rows, '<', \$text or die;
    my $csv = Text::CSV_XS->new;
    $csv->getline($rows);
    my ($date, @fields) = ('') x 7;
    $csv->bind_columns(\($date, @fields[0 .. 5]));
    @columns = map { [] } 0 .. 6;
    while ($csv->getline($rows)) {
        push @{$columns[0]}, $date;
        push @{$columns[$_ + 1]}, $fields[$_] + 0 for 0 .. 5;
    }
    push @seconds, time - $start;
}
my $total = 0;
for my $column (1 .. 6) { $total += $_ for @{$columns[$column]} }
shift @seconds;
@seconds = sort { $a <=> $b } @seconds;
printf "Text::CSV_XS\t%.9f\t%.17g\n", $seconds[@seconds / 2], $total;
