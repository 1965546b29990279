-- A filter of five taps: at a rising edge it takes a sample, and gives the sum of the last five,
-- each times its tap, by 64. What does not fit 12 bits is clipped.
entity fir is
    generic (last_tap : natural := 4);
    port (
        clk     : in  bit;
        load    : in  boolean;  -- at a rising edge: `sample` is the next tap
        sample  : in  integer;
        sum     : out integer;
        result  : out integer;
        clipped : out boolean);
end entity;

architecture rtl of fir is
    type words is array (0 to last_tap) of integer;
begin
    process (clk)
        variable taps, history : words := (others => 0);
        variable total, scaled : integer;
    begin
        if clk = '1' then
            if load then
                taps := taps(1 to last_tap) & sample;
            else
                history := sample & history(0 to last_tap - 1);
                total := 0;
                for i in words'range loop
                    total := total + taps(i) * history(i);
                end loop;
                scaled := total / 64;
                sum <= total;
                clipped <= scaled < -2048 or scaled > 2047;
                if scaled < -2048 then
                    scaled := -2048;
                elsif scaled > 2047 then
                    scaled := 2047;
                end if;
                result <= scaled;
            end if;
        end if;
    end process;
end architecture;
