-- Bench of the filter: taps.txt holds a tap a line, two hexadecimal digits; samples.txt a time and a
-- sample a line. results.txt receives a line for each sample.
library ieee;
use ieee.numeric_bit.all;
use std.textio.all;

entity fir_tb is
end entity;

architecture test of fir_tb is
    signal clk         : bit := '0';
    signal load        : boolean := true;
    signal sample      : integer := 0;
    signal sum, result : integer := 0;
    signal clipped     : boolean := false;
begin
    dut : entity work.fir
        port map (clk => clk, load => load, sample => sample, sum => sum, result => result,
                  clipped => clipped);

    process
        file taps, samples, results : text;
        variable status    : file_open_status;
        variable l         : line;
        variable tap       : bit_vector(7 downto 0);
        variable at        : time;
        variable value     : integer;
        variable good      : boolean;
        variable count     : natural := 0;
        variable clippings : natural := 0;
    begin
        file_open(status, taps, "taps.txt", read_mode);
        assert status = open_ok report "no taps" severity failure;
        while not endfile(taps) loop
            readline(taps, l);
            hread(l, tap);
            sample <= to_integer(signed(tap));
            clk <= '1';
            wait for 1 ns;
            clk <= '0';
            wait for 1 ns;
        end loop;
        file_close(taps);
        load <= false;

        file_open(samples, "samples.txt", read_mode);
        file_open(results, "results.txt", write_mode);
        write(l, string'("time"), right, 12);
        write(l, string'("sample"), right, 8);
        write(l, string'("result"), right, 8);
        write(l, string'(" sum     clipped"));
        writeline(results, l);

        while not endfile(samples) loop
            readline(samples, l);
            next when l'length = 0;
            next when l(l'left) = '#';
            read(l, at, good);
            if good then
                read(l, value, good);
            end if;
            if not good then
                report "no sample at """ & l.all & """" severity warning;
                next;
            end if;
            if at < now then
                report "too late for sample " & integer'image(value) severity error;
                next;
            end if;
            wait for at - now;
            sample <= value;
            clk <= '1';
            wait for 5 ns;
            clk <= '0';
            deallocate(l);
            write(l, at, right, 12, us);
            write(l, sample, right, 8);
            write(l, result, right, 8);
            write(l, ' ');
            hwrite(l, bit_vector(to_signed(sum, 24)), left, 8);
            write(l, clipped);
            writeline(results, l);
            count := count + 1;
            if clipped then
                clippings := clippings + 1;
            end if;
        end loop;

        write(l, count);
        write(l, string'(" samples, the last at "));
        write(l, at, left, 0, ns);
        tee(results, l);
        file_close(results);
        assert clippings = 0
            report integer'image(clippings) & " results are clipped" severity warning;
        report "done";
        wait;
    end process;
end architecture;
